// Client stations: link, rates and time of every associated station.
#ifndef QV_REPORTS_STA_STATS_H
#define QV_REPORTS_STA_STATS_H

#include "protocol/statistics_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_sta_stats(StaStatsList& record);

/// Appends one object of "sta_stats_list" per station to the array; ends early when memory is
/// out. Always returns 0.
int32_t qv_sta_stats_to_json(json_object* array, const StaStatsList& record);

#endif
