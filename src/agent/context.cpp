#include "agent/context.h"

#include "platform/download_stop.h"

#include <poll.h>
#include <sys/eventfd.h>

AgentContext::AgentContext() : stopped(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

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
    eventfd_write(context.stopped.get(), 1);
    sem_post(&context.queue.semaphore);
    qv_stop_downloads();
}

bool qv_agent_stops_within(const AgentContext& context, std::chrono::milliseconds limit) {
    pollfd stopped{.fd = context.stopped.get(), .events = POLLIN, .revents = 0};
    poll(&stopped, 1, static_cast<int>(limit.count()));
    return qv_agent_stopping(context);
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
