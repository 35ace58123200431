// A dialogue with one device: which one, a command, the report that answers it.
#ifndef QVCTL_DIALOGUE_H
#define QVCTL_DIALOGUE_H

#include "options.h"
#include "protocol/commands.h"
#include "session.h"

#include <map>
#include <string>

namespace qvctl {

/// What the reports heard say of each device, by MAC address.
struct DeviceSeen {
    std::string ip;
    std::string hwname;
    std::string fwname;
    bool announcing = false; ///< no controller has spoken to it yet
};
using DevicesSeen = std::map<std::string, DeviceSeen>;

/// "1.5 s".
std::string seconds_text(double seconds);

/// Takes from a report what it says of its device; a report without MAC address says nothing.
void note_device(DevicesSeen& devices, const Report& report);

/// Says that a device may be missed in so short a time: one that runs reports every ten seconds,
/// and only one that announces itself is faster.
void note_short_listening(double seconds);

/// The device that the options name, or the only one that speaks and may be it. Throws Failure when
/// there is none or more than one.
std::string choose_device(Session& session, const Options& options);

/// A command that carries the value under the key of its type, or nothing. Its time is now unless
/// it is given in milliseconds since 1970.
JsonPtr new_command(CommandType type, JsonPtr value = nullptr,
                    std::optional<int64_t> timestamp = {});

/// The next report of that type and device. Throws Failure when there is none in time.
Report wait_for(Session& session, const std::string& macaddr, int type, double seconds);

/// Seconds until an answer must be there. The wifi manager may take 5 for each request; a change
/// makes two, and the device's own refresh and another command may stand before it.
constexpr double ANSWER_TIMEOUT = 25;

/// Sends a command and returns the report that answers it. A command that falls into a
/// reconnection of the device is lost, so it is sent again when the device announces itself: only
/// for commands that may be carried out twice.
Report ask(Session& session, const std::string& macaddr, json_object* command, int report_type,
           double seconds);

} // namespace qvctl

#endif
