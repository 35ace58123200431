#include "report_kinds.h"

#include "reports/system_stats.h"

namespace {

/// Body made from one record of the wifi manager; the record is all zeros when it does not
/// answer. A body that could not be completed is reported as far as it got.
template <class Record, int32_t (*read)(Record&), int32_t (*to_json)(json_object*, const Record&)>
bool fill(AgentContext& /*context*/, json_object* body) {
    Record record{};
    read(record);
    to_json(body, record);
    return true;
}

constexpr ReportKind REPORT_KINDS[] = {
    {.kind = REPORT_DEVICE_DISCOVERY,
     .type = 1000,
     .data_key = "device_discovery_macaddr",
     .body = ReportBody::object,
     .fill = qv_fill_device_discovery,
     .has_ip = false},
    {.kind = REPORT_SYSTEM_STATS,
     .type = 1003,
     .data_key = "system_stats",
     .body = ReportBody::object,
     .fill = fill<SystemStats, qv_get_system_stats, qv_system_stats_to_json>},
    {.kind = REPORT_UPDATA_STATS,
     .type = 1015,
     .data_key = "updata_stats",
     .body = ReportBody::status},
};

} // namespace

const std::span<const ReportKind> qv_report_kinds = REPORT_KINDS;
