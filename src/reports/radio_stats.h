// Radios: channel, band and number of virtual access points of each.
#ifndef QV_REPORTS_RADIO_STATS_H
#define QV_REPORTS_RADIO_STATS_H

#include "protocol/statistics_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_radio_stats(RadioStatsList& record);

/// Appends one object of "radio_stats_list" per radio in use to the array; ends early when memory
/// is out. Always returns 0.
int32_t qv_radio_stats_to_json(json_object* array, const RadioStatsList& record);

#endif
