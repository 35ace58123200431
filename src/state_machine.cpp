#include "state_machine.h"

#include "agent/context.h"
#include "broker/publish.h"
#include "broker/session.h"
#include "messages/report.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

using WallClock = std::chrono::system_clock;
using SteadyClock = MonotonicCondition::Clock;
using std::chrono::seconds;

/// Until the wall clock's whole second that lies `wait` ahead: the fraction of the current second
/// is dropped, so the pause is up to a second shorter, and none for 0. It ends at the latest when
/// `wait` has passed, however the clock is stepped meanwhile. False, at once, when the agent
/// stops.
bool pause(AgentContext& context, seconds wait) {
    const WallClock::time_point deadline = std::chrono::floor<seconds>(WallClock::now()) + wait;
    const SteadyClock::time_point limit = SteadyClock::now() + wait;
    std::unique_lock guard(context.lock);
    while (!qv_agent_stopping(context)) {
        const auto end = std::min(limit, SteadyClock::now() + (deadline - WallClock::now()));
        const uint32_t steps = context.clock_steps;
        if (!context.wake.wait_until(
                guard, end,
                [&] { return qv_agent_stopping(context) || context.clock_steps != steps; }) &&
            (WallClock::now() >= deadline || SteadyClock::now() >= limit)) {
            return true;
        }
    }
    return false;
}

AgentState next_state(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    if (qv_agent_connect_due(context)) {
        context.state = AGENT_STATE_CONNECT;
    }
    return context.state;
}

seconds connect(AgentContext& context) {
    return seconds(qv_mqtt_connect(context) == 0 ? 2 : 5);
}

seconds announce(AgentContext& context) {
    ReportBuffer buffer;
    uint32_t length = 0;
    if (qv_json_build_msg(context, REPORT_DEVICE_DISCOVERY, buffer, length) == 0 && length > 0) {
        qv_mqtt_publish(context, buffer.text(), length);
    }
    return seconds(5);
}

bool queue_request(AgentContext& context, int32_t type, std::string_view text) {
    ControllerMsgPtr message =
        qv_new_controller_msg(context, type, text.data(), static_cast<uint32_t>(text.size()));
    if (message == nullptr) {
        return false;
    }
    msg_queue_push(context.queue, std::move(message));
    return true;
}

bool queue_periodic_requests(AgentContext& context) {
    return queue_request(context, 1035, R"({"type":"1035"})") &&
           queue_request(context, 1034, R"({"type":"1034"})");
}

} // namespace

int32_t qv_agent_state_machine(AgentContext& context) {
    context.state = AGENT_STATE_CONNECT;
    seconds wait{0};
    while (pause(context, wait)) {
        const AgentState state = next_state(context);
        printf("sm->state:%d\n", state);
        switch (state) {
        case AGENT_STATE_CONNECT: wait = connect(context); break;
        case AGENT_STATE_ANNOUNCE: wait = announce(context); break;
        case AGENT_STATE_RUN:
            if (!queue_periodic_requests(context)) {
                return -1;
            }
            wait = seconds(10);
            break;
        case AGENT_STATE_BUSY: wait = seconds(5); break;
        }
    }
    return 0;
}
