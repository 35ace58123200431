#include "confirmed_change.h"

#include "dialogue.h"
#include "protocol/commands.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <unistd.h>
#include <utility>

namespace qvctl {

namespace {

/// An announcement that was under way when the change was sent or reported is one of the old
/// session; those of the next come a second after it began.
constexpr double OLD_ANNOUNCEMENT = 0.5;

std::string time_of_day(int seconds_ahead) {
    const time_t then = time(nullptr) + seconds_ahead;
    tm local{};
    localtime_r(&then, &local);
    char text[16];
    strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

} // namespace

ConfirmedChange::ConfirmedChange(Session& session, const std::string& device,
                                 const Setting& setting, int seconds)
    : session_(session), device_(device), setting_(setting), seconds_(seconds) {}

/// A command that falls into a reconnection of the device is lost, and sent again when the device
/// announces itself. A device that then announces itself once more has refused it.
Report ConfirmedChange::make(JsonPtr settings) {
    const JsonPtr command = new_command(setting_.command, std::move(settings));
    qv_json_add(qv_json_member(command.get(), "data"), CONFIRM_KEY,
                JsonPtr(json_object_new_int(seconds_)));
    session_.forget();
    send(command.get());
    bool repeated = false;
    while (std::optional<Report> report = next()) {
        if (report->type == setting_.contract().answer) {
            return std::move(*report);
        }
        if (begins_session(*report)) {
            if (std::exchange(repeated, true)) {
                throw Failure(REFUSED, "the device does not make the change; its log says why");
            }
            send(command.get());
        }
    }
    throw not_back();
}

Report ConfirmedChange::confirm() {
    const JsonPtr question = new_command(*setting_.read_command);
    old_until_ = after(OLD_ANNOUNCEMENT);
    bool asked = false;
    while (std::optional<Report> report = next()) {
        if (begins_session(*report)) {
            session_.send(device_, question.get());
            old_until_ = after(OLD_ANNOUNCEMENT);
            asked = true;
            deadline_ = std::max(deadline_, after(ANSWER_TIMEOUT)); // the question was in time
        } else if (report->type == setting_.contract().answer && asked) {
            return std::move(*report);
        }
    }
    throw not_back();
}

void ConfirmedChange::send(json_object* command) {
    deadline_ = after(seconds_);
    old_until_ = after(OLD_ANNOUNCEMENT);
    taken_back_at_ = time_of_day(seconds_);
    session_.send(device_, command);
    if (isatty(STDERR_FILENO) != 0) {
        fprintf(stderr, "waiting for the device to be back, until %s\n", taken_back_at_.c_str());
    }
}

bool ConfirmedChange::begins_session(const Report& report) const {
    return report.type == REPORT_TYPE_DEVICE_DISCOVERY && Clock::now() > old_until_;
}

/// The next report of the device, or none when the time is over.
std::optional<Report> ConfirmedChange::next() const {
    while (Clock::now() < deadline_) {
        std::array others = {pollfd{.fd = signals_.descriptor(), .events = POLLIN, .revents = 0}};
        std::optional<Report> report = session_.next(deadline_, others);
        if (others[0].revents != 0 && signals_.asks_to_end()) {
            throw not_back();
        }
        if (report.has_value() && report->macaddr == device_) {
            return report;
        }
    }
    return std::nullopt;
}

Failure ConfirmedChange::not_back() const {
    return {NO_ANSWER, "not back: the device takes the change back at " + taken_back_at_};
}

} // namespace qvctl
