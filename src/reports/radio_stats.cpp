#include "reports/radio_stats.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"

int32_t qv_get_radio_stats(RadioStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_RADIO_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_radio_stats_to_json(json_object* array, const RadioStatsList& record) {
    for (const RadioStatsEntry& entry : qv_listed(record.entries, record.count)) {
        if (entry.channel == RADIO_STATS_UNUSED_CHANNEL) {
            continue;
        }
        if (qv_append_record_text(array, qv_record_bytes(entry), sizeof entry,
                                  qv_radio_stats_fields) == 0) {
            break;
        }
    }
    return 0;
}
