#include "agent/context.h"

#include "platform/download_stop.h"

void qv_agent_set_state(AgentContext& context, AgentState state) {
    const std::lock_guard guard(context.lock);
    context.state = state;
}

void qv_agent_stop(AgentContext& context) {
    {
        const std::lock_guard guard(context.lock);
        context.stop = 1;
    }
    context.wake.notify_all();
    sem_post(&context.queue.semaphore);
    qv_stop_downloads();
}

bool qv_agent_stops_before(AgentContext& context, MonotonicCondition::Clock::time_point deadline) {
    std::unique_lock guard(context.lock);
    return context.wake.wait_until(guard, deadline, [&] { return qv_agent_stopping(context); });
}

void qv_agent_clock_set(AgentContext& context) {
    {
        const std::lock_guard guard(context.lock);
        ++context.clock_steps;
    }
    context.wake.notify_all();
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
