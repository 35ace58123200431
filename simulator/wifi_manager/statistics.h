// What the access point measures, and how that moves with time.
#ifndef QV_SIMULATOR_STATISTICS_H
#define QV_SIMULATOR_STATISTICS_H

#include "access_point.h"

#include <chrono>

/// The access point after it has run for a time from where it stands: signals, rates and load
/// swing, uptimes and counters grow, and what follows from other settings is made from them. Only
/// that follows at time 0.
AccessPoint qv_access_point_at(const AccessPoint& ap, std::chrono::milliseconds time);

#endif
