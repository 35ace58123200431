// A change of network settings that the device takes back unless it is confirmed.
#ifndef QVCTL_CONFIRMED_CHANGE_H
#define QVCTL_CONFIRMED_CHANGE_H

#include "failure.h"
#include "protocol.h"
#include "session.h"
#include "terminal.h"

#include <string>

namespace qvctl {

/// One change, within so many seconds. Both operations throw Failure, which says when the device
/// takes the change back, once the time is over or the user does not wait any longer.
class ConfirmedChange {
public:
    ConfirmedChange(Session& session, const std::string& device, const Setting& setting,
                    int seconds);

    /// Sends the change. Returns the report that answers it.
    Report make(JsonPtr settings);

    /// Waits until the device announces itself in its next session and asks it for the settings,
    /// which confirms the change. Returns its answer.
    Report confirm();

private:
    void send(json_object* command);
    bool begins_session(const Report& report) const;
    std::optional<Report> next() const;
    Failure not_back() const;

    Session& session_;
    const std::string& device_;
    const Setting& setting_;
    const int seconds_;
    const SignalDescriptor signals_;
    Clock::time_point deadline_{};
    Clock::time_point old_until_{};
    std::string taken_back_at_; ///< local time of day
};

} // namespace qvctl

#endif
