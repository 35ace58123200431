// Network interfaces and their traffic counters.
#ifndef QV_REPORTS_INTERFACE_STATS_H
#define QV_REPORTS_INTERFACE_STATS_H

#include "protocol/statistics_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_interface_stats(InterfaceStatsList& record);

/// Appends one object of "interface_stats_list" per interface to the array; ends early when
/// memory is out. Always returns 0.
int32_t qv_interface_stats_to_json(json_object* array, const InterfaceStatsList& record);

#endif
