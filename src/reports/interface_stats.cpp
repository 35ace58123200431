#include "reports/interface_stats.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"

int32_t qv_get_interface_stats(InterfaceStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_INTERFACE_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_interface_stats_to_json(json_object* array, const InterfaceStatsList& record) {
    qv_append_records(array, record.entries, record.count, qv_interface_stats_fields);
    return 0;
}
