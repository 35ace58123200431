#include "reports/system_stats.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"
#include "json/text.h"

#include <cstdio>
#include <string_view>

int32_t qv_get_system_stats(SystemStats& record) {
    if (qv_wifi_mgr_read(WIFI_MGR_GET_SYSTEM_STATS, qv_record_bytes(record))) {
        const std::string_view name = qv_field_text(record.hw_name);
        printf("qv_get_system_stats: HW Name: %.*s\n", static_cast<int>(name.size()), name.data());
    }
    return 0;
}

int32_t qv_system_stats_to_json(json_object* object, const SystemStats& record) {
    qv_record_to_json(object, qv_record_bytes(record), qv_system_stats_fields);
    return 0;
}
