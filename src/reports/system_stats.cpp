#include "reports/system_stats.h"

#include "messages/record_fields.h"
#include "messages/text.h"
#include "wifimgr/channel.h"

#include <cstdio>
#include <string_view>

namespace {

using enum RecordFieldType;

constexpr RecordField SYSTEM_STATS_FIELDS[] = {
    {"hw_name", text, QV_RECORD_MEMBER(SystemStats, hw_name)},
    {"fwinfo", text, QV_RECORD_MEMBER(SystemStats, fwinfo)},
    {"hostname", text, QV_RECORD_MEMBER(SystemStats, hostname)},
    {"cpu_usage", i32, QV_RECORD_MEMBER(SystemStats, cpu_usage)},
    {"max_memory", i32, QV_RECORD_MEMBER(SystemStats, max_memory)},
    {"max_memory_used", i32, QV_RECORD_MEMBER(SystemStats, max_memory_used)},
    {"max_disk_space", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space)},
    {"max_disk_space_used", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space_used)},
    {"uptime", i32, QV_RECORD_MEMBER(SystemStats, uptime)},
    {"model", text, QV_RECORD_MEMBER(SystemStats, model)},
    {"kernel_version", text, QV_RECORD_MEMBER(SystemStats, kernel_version)},
    {"loadavg", text, QV_RECORD_MEMBER(SystemStats, loadavg)},
    {"equipment_notes", text, QV_RECORD_MEMBER(SystemStats, equipment_notes)},
};
static_assert(qv_fields_fit(SYSTEM_STATS_FIELDS, sizeof(SystemStats)));

} // namespace

int32_t qv_get_system_stats(SystemStats& record) {
    if (qv_wifi_mgr_read(WIFI_MGR_GET_SYSTEM_STATS, qv_record_bytes(record))) {
        const std::string_view name = qv_field_text(record.hw_name);
        printf("qv_get_system_stats: HW Name: %.*s\n", static_cast<int>(name.size()), name.data());
    }
    return 0;
}

int32_t qv_system_stats_to_json(json_object* object, const SystemStats& record) {
    qv_record_to_json(object, qv_record_bytes(record), SYSTEM_STATS_FIELDS);
    return 0;
}
