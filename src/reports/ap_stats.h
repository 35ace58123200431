// Access points of this device: channel, identity, load and signal of each.
#ifndef QV_REPORTS_AP_STATS_H
#define QV_REPORTS_AP_STATS_H

#include "protocol/statistics_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager and prints its count; an unanswered read leaves the
/// record untouched and prints nothing. Always returns 0.
int32_t qv_get_ap_stats(ApStatsList& record);

/// Appends one object of "ap_stats_list" per access point to the array; ends early when memory is
/// out. Always returns 0.
int32_t qv_ap_stats_to_json(json_object* array, const ApStatsList& record);

#endif
