#include "state_machine.h"

#include "agent/context.h"
#include "broker/session.h"
#include "reports/report.h"

#include <chrono>
#include <cstdio>

namespace {

using WallClock = std::chrono::system_clock;
using std::chrono::seconds;

/// Until the wall clock's whole second that lies `wait` ahead: the fraction of the current second
/// is dropped, so the pause is up to a second shorter, and none for 0. False, at once, when the
/// agent stops.
bool pause(AgentContext& context, seconds wait) {
    const auto deadline = std::chrono::floor<seconds>(WallClock::now()) + wait;
    std::unique_lock guard(context.lock);
    return !context.wake.wait_until(guard, deadline,
                                    [&context] { return qv_agent_stopping(context); });
}

/// A connect step that was asked for is due even if `state` was written since.
AgentState next_state(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    if (context.connect_asked || context.connection_lost) {
        context.state = AGENT_STATE_CONNECT;
    }
    return context.state;
}

/// Unless the connection was lost again, or another asked for, since the connect step began.
void enter_announce(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    if (!context.connect_asked && !context.connection_lost) {
        context.state = AGENT_STATE_ANNOUNCE;
    }
}

seconds connect(AgentContext& context) {
    if (qv_mqtt_connect(context) != 0) {
        return seconds(5);
    }
    enter_announce(context);
    return seconds(2);
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
