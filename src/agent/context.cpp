#include "agent/context.h"

void qv_agent_set_state(AgentContext& context, AgentState state) {
    const std::lock_guard guard(context.lock);
    context.state = state;
    if (state == AGENT_STATE_CONNECT) {
        context.connect_asked = true;
    }
}

void qv_agent_connection_lost(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    context.state = AGENT_STATE_CONNECT;
    context.connection_lost = true;
}

void qv_agent_stop(AgentContext& context) {
    {
        const std::lock_guard guard(context.lock);
        context.stop = 1;
    }
    context.wake.notify_all();
    sem_post(&context.queue.semaphore);
}

bool qv_agent_stopping(const AgentContext& context) {
    return context.stop != 0;
}

DeviceIdentity qv_agent_identity(AgentContext& context) {
    const std::lock_guard guard(context.settings_lock);
    return context.identity;
}

BrokerConfig qv_agent_broker(AgentContext& context) {
    const std::lock_guard guard(context.settings_lock);
    return context.broker;
}
