#include "state_machine.h"

#include "agent/context.h"
#include "broker/publish.h"
#include "broker/session.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "reports/report.h"

#include <algorithm>
#include <chrono>
#include <poll.h>
#include <sys/timerfd.h>

namespace {

using Clock = PendingChange::Clock;
using WallClock = std::chrono::system_clock;
using std::chrono::seconds;

/// A timer of the wall clock: it fires when that clock shows the time, also because it was set
/// (timerfd_create(2)).
class WallTimer {
public:
    void set(seconds since_1970) {
        itimerspec time{};
        time.it_value.tv_sec = static_cast<time_t>(since_1970.count());
        timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &time, nullptr);
    }
    [[nodiscard]] int descriptor() const {
        return timer_.get();
    }

private:
    ScopedFd timer_{timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK)};
};

/// For poll(2): until the end, or until a network change is due before it.
int poll_time(AgentContext& context, Clock::time_point end) {
    const std::lock_guard guard(context.lock);
    const auto first = std::min(end, qv_agent_change_deadline(context));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - Clock::now());
    return std::max(0, static_cast<int>(left.count()));
}

/// Until the wall clock's whole second that lies `wait` ahead: the fraction of the current second
/// is dropped, so the pause is up to a second shorter, and none for 0. It ends at the latest when
/// `wait` has passed, however far the clock is set back meanwhile. Network changes that are due
/// meanwhile are told to the controller thread; one that is begun meanwhile is due later than the
/// pause ends. False, at once, when the agent stops.
bool pause(AgentContext& context, WallTimer& timer, seconds wait) {
    const Clock::time_point end = Clock::now() + wait;
    const auto now = std::chrono::floor<seconds>(WallClock::now());
    timer.set(now.time_since_epoch() + wait);
    pollfd ends[] = {
        {.fd = timer.descriptor(), .events = POLLIN, .revents = 0},
        {.fd = context.stopped.get(), .events = POLLIN, .revents = 0},
    };
    while (poll(ends, std::size(ends), poll_time(context, end)) == 0 && Clock::now() < end) {
        qv_agent_queue_due_changes(context);
    }
    return !qv_agent_stopping(context);
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
    WallTimer timer;
    seconds wait{0};
    while (pause(context, timer, wait)) {
        const AgentState state = next_state(context);
        qv_log("sm->state:%d\n", state);
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
