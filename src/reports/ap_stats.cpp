#include "reports/ap_stats.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"

#include <cstdio>

int32_t qv_get_ap_stats(ApStatsList& record) {
    if (qv_wifi_mgr_read(WIFI_MGR_GET_AP_STATS, qv_record_bytes(record))) {
        printf("qv_get_ap_stats: Max AP Count: %u\n", static_cast<unsigned>(record.count));
    }
    return 0;
}

int32_t qv_ap_stats_to_json(json_object* array, const ApStatsList& record) {
    qv_append_records(array, record.entries, record.count, qv_ap_stats_fields);
    return 0;
}
