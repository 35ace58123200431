#include "report_kinds.h"

#include "network/network_config.h"
#include "reports/system_stats.h"
#include "settings/system_config.h"

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
    {.kind = REPORT_UCI_SYSTEM,
     .type = 1008,
     .data_key = "uci_system",
     .body = ReportBody::object,
     .fill = fill<SystemConfigRecord, qv_get_system_config, qv_system_config_to_json>},
    {.kind = REPORT_UCI_NETWORK_LAN,
     .type = 1011,
     .data_key = "uci_network_lan",
     .body = ReportBody::object,
     .fill = fill<LanConfigRecord, qv_get_network_lan, qv_network_lan_to_json>},
    {.kind = REPORT_UCI_NETWORK_WAN,
     .type = 1012,
     .data_key = "uci_network_wan",
     .body = ReportBody::object,
     .fill = fill<WanConfigRecord, qv_get_network_wan, qv_network_wan_to_json>},
    {.kind = REPORT_UCI_NETWORK_WAN6,
     .type = 1013,
     .data_key = "uci_network_wan6",
     .body = ReportBody::object,
     .fill = fill<Wan6ConfigRecord, qv_get_network_wan6, qv_network_wan6_to_json>},
    {.kind = REPORT_UPDATA_STATS,
     .type = 1015,
     .data_key = "updata_stats",
     .body = ReportBody::status},
};

} // namespace

const std::span<const ReportKind> qv_report_kinds = REPORT_KINDS;
