// The way from the access point to its broker, which some settings cut off.
#ifndef QV_SIMULATOR_UPLINK_H
#define QV_SIMULATOR_UPLINK_H

#include "access_point.h"

#include <string>

struct Uplink {
    std::string interface;
    bool cut_off = false;
};

/// Takes the interface down when a line "cuts <member>.<key>=<text>" of the control file comes to
/// say what is set, as in "cuts lan.ipaddr=10.9.9.9", and up when none does any more.
void qv_follow_settings(Uplink& uplink, const AccessPoint& ap, const std::string& control_file);

#endif
