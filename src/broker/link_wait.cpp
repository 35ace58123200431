#include "broker/link_wait.h"

#include "agent/context.h"
#include "broker/session.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <poll.h>
#include <sys/eventfd.h>

using Clock = MonotonicCondition::Clock;

namespace {

int poll_time(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

} // namespace

short qv_link_wait(AgentContext& context, int descriptor, short events,
                   Clock::time_point deadline) {
    const MqttSession& session = *context.session;
    pollfd watched[] = {
        {.fd = session.wake.get(), .events = POLLIN, .revents = 0},
        {.fd = descriptor, .events = events, .revents = 0}, // a negative one is passed over
    };
    if (poll(watched, std::size(watched), poll_time(deadline)) <= 0) {
        return 0;
    }
    if (watched[0].revents != 0) {
        eventfd_t count = 0;
        eventfd_read(session.wake.get(), &count);
        qv_link_take_inbox(context);
    }
    return watched[1].revents;
}

bool qv_link_await(AgentContext& context, int descriptor, short events,
                   Clock::time_point deadline) {
    while (qv_link_wait(context, descriptor, events, deadline) == 0) {
        if (qv_link_gives_up(*context.session) || Clock::now() >= deadline) {
            return false;
        }
    }
    return true;
}

bool qv_link_gives_up(const MqttSession& session) {
    return session.closing && !session.link.last_attempt;
}

void qv_link_wake(const MqttSession& session) {
    eventfd_write(session.wake.get(), 1);
}

void qv_link_take_inbox(AgentContext& context) {
    MqttSession& session = *context.session;
    while (!session.intake.busy()) {
        const std::unique_ptr<InboundMessage> inbound = session.link.inbox.pop();
        if (inbound == nullptr) {
            return;
        }
        if (!qv_agent_stopping(context)) {
            const mosquitto_message& message = inbound->message();
            session.link.came_in = message.retain ? std::nullopt : std::optional(inbound->begun);
            context.msg_handler(context, message.topic, static_cast<const char*>(message.payload),
                                static_cast<uint32_t>(message.payloadlen));
        }
    }
}
