#include "report_kinds.h"

#include "network/network_config.h"
#include "reports/ap_stats.h"
#include "reports/interface_stats.h"
#include "reports/radio_stats.h"
#include "reports/sta_stats.h"
#include "reports/system_stats.h"
#include "settings/system_config.h"
#include "wireless/radio_config.h"
#include "wireless/vap_config.h"

namespace {

/// Body made from one record of the wifi manager; the record is all zeros when it does not
/// answer. A body that could not be completed is reported as far as it got.
template <class Record, int32_t (*read)(Record&), int32_t (*to_json)(json_object*, const Record&)>
bool fill(AgentContext& /*context*/, json_object* body, int32_t /*argument*/) {
    Record record{};
    read(record);
    to_json(body, record);
    return true;
}

constexpr ReportKind REPORT_KINDS[] = {
    {.kind = REPORT_DEVICE_DISCOVERY,
     .type = REPORT_TYPE_DEVICE_DISCOVERY,
     .data_key = "device_discovery_macaddr",
     .body = ReportBody::object,
     .fill = qv_fill_device_discovery,
     .has_ip = false},
    {.kind = REPORT_SYSTEM_STATS,
     .type = REPORT_TYPE_SYSTEM_STATS,
     .data_key = "system_stats",
     .body = ReportBody::object,
     .fill = fill<SystemStats, qv_get_system_stats, qv_system_stats_to_json>},
    {.kind = REPORT_AP_STATS,
     .type = REPORT_TYPE_AP_STATS,
     .data_key = "ap_stats_list",
     .body = ReportBody::array,
     .fill = fill<ApStatsList, qv_get_ap_stats, qv_ap_stats_to_json>},
    {.kind = REPORT_STA_STATS,
     .type = REPORT_TYPE_STA_STATS,
     .data_key = "sta_stats_list",
     .body = ReportBody::array,
     .fill = fill<StaStatsList, qv_get_sta_stats, qv_sta_stats_to_json>},
    {.kind = REPORT_RADIO_STATS,
     .type = REPORT_TYPE_RADIO_STATS,
     .data_key = "radio_stats_list",
     .body = ReportBody::array,
     .fill = fill<RadioStatsList, qv_get_radio_stats, qv_radio_stats_to_json>},
    {.kind = REPORT_INTERFACE_STATS,
     .type = REPORT_TYPE_INTERFACE_STATS,
     .data_key = "interface_stats_list",
     .body = ReportBody::array,
     .fill = fill<InterfaceStatsList, qv_get_interface_stats, qv_interface_stats_to_json>},
    {.kind = REPORT_UCI_SYSTEM,
     .type = REPORT_TYPE_UCI_SYSTEM,
     .data_key = "uci_system",
     .body = ReportBody::object,
     .fill = fill<SystemConfigRecord, qv_get_system_config, qv_system_config_to_json>},
    {.kind = REPORT_UCI_VAP_LIST,
     .type = REPORT_TYPE_UCI_VAP_LIST,
     .data_key = "uci_vap_list",
     .body = ReportBody::array,
     .fill = fill<VapList, qv_get_vap_config, qv_vap_config_to_json>},
    {.kind = REPORT_UCI_RADIO_LIST,
     .type = REPORT_TYPE_UCI_RADIO_LIST,
     .data_key = "uci_radio_list",
     .body = ReportBody::array,
     .fill = fill<RadioList, qv_get_radio_config, qv_radio_config_to_json>},
    {.kind = REPORT_UCI_NETWORK_LAN,
     .type = REPORT_TYPE_UCI_NETWORK_LAN,
     .data_key = "uci_network_lan",
     .body = ReportBody::object,
     .fill = fill<LanConfigRecord, qv_get_network_lan, qv_network_lan_to_json>},
    {.kind = REPORT_UCI_NETWORK_WAN,
     .type = REPORT_TYPE_UCI_NETWORK_WAN,
     .data_key = "uci_network_wan",
     .body = ReportBody::object,
     .fill = fill<WanConfigRecord, qv_get_network_wan, qv_network_wan_to_json>},
    {.kind = REPORT_UCI_NETWORK_WAN6,
     .type = REPORT_TYPE_UCI_NETWORK_WAN6,
     .data_key = "uci_network_wan6",
     .body = ReportBody::object,
     .fill = fill<Wan6ConfigRecord, qv_get_network_wan6, qv_network_wan6_to_json>},
    {.kind = REPORT_UPDATA_STATS,
     .type = REPORT_TYPE_UPDATA_STATS,
     .data_key = "updata_stats",
     .body = ReportBody::status},
};

} // namespace

const std::span<const ReportKind> qv_report_kinds = REPORT_KINDS;
