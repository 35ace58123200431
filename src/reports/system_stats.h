// System statistics: identity, load, memory, disk and uptime of the device.
#ifndef QV_REPORTS_SYSTEM_STATS_H
#define QV_REPORTS_SYSTEM_STATS_H

#include "protocol/statistics_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager and prints the hardware name; an unanswered read
/// leaves the record untouched and prints nothing. Always returns 0.
int32_t qv_get_system_stats(SystemStats& record);

/// Adds the members of "system_stats" to the object. Always returns 0.
int32_t qv_system_stats_to_json(json_object* object, const SystemStats& record);

#endif
