#include "reports/sta_stats.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"

int32_t qv_get_sta_stats(StaStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_STA_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_sta_stats_to_json(json_object* array, const StaStatsList& record) {
    qv_append_records(array, record.entries, record.count, qv_sta_stats_fields);
    return 0;
}
