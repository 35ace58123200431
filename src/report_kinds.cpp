#include "report_kinds.h"

#include "protocol/network_records.h"
#include "protocol/radio_vap_records.h"
#include "protocol/statistics_records.h"
#include "protocol/system_config_record.h"
#include "reports/report.h"
#include "reports/statistics.h"
#include "wireless/maclist.h"

#include <algorithm>

namespace {

constexpr ReportKind REPORT_KINDS[] = {
    {.kind = REPORT_DEVICE_DISCOVERY,
     .type = REPORT_TYPE_DEVICE_DISCOVERY,
     .data_key = "device_discovery_macaddr",
     .fields = &qv_device_discovery_fields,
     .has_ip = false,
     .record_size = sizeof(DeviceDiscovery),
     .fill = qv_fill_device_discovery},
    {.kind = REPORT_SYSTEM_STATS,
     .type = REPORT_TYPE_SYSTEM_STATS,
     .data_key = "system_stats",
     .fields = &qv_system_stats_fields,
     .message = WIFI_MGR_GET_SYSTEM_STATS,
     .record_size = sizeof(SystemStats),
     .on_record = qv_show_system_stats},
    {.kind = REPORT_AP_STATS,
     .type = REPORT_TYPE_AP_STATS,
     .data_key = "ap_stats_list",
     .list = &qv_ap_stats_list,
     .message = WIFI_MGR_GET_AP_STATS,
     .record_size = sizeof(ApStatsList),
     .on_record = qv_show_ap_stats},
    {.kind = REPORT_STA_STATS,
     .type = REPORT_TYPE_STA_STATS,
     .data_key = "sta_stats_list",
     .list = &qv_sta_stats_list,
     .message = WIFI_MGR_GET_STA_STATS,
     .record_size = sizeof(StaStatsList)},
    {.kind = REPORT_RADIO_STATS,
     .type = REPORT_TYPE_RADIO_STATS,
     .data_key = "radio_stats_list",
     .list = &qv_radio_stats_list,
     .message = WIFI_MGR_GET_RADIO_STATS,
     .record_size = sizeof(RadioStatsList),
     .on_record = qv_drop_unused_radios},
    {.kind = REPORT_INTERFACE_STATS,
     .type = REPORT_TYPE_INTERFACE_STATS,
     .data_key = "interface_stats_list",
     .list = &qv_interface_stats_list,
     .message = WIFI_MGR_GET_INTERFACE_STATS,
     .record_size = sizeof(InterfaceStatsList)},
    {.kind = REPORT_UCI_SYSTEM,
     .type = REPORT_TYPE_UCI_SYSTEM,
     .data_key = "uci_system",
     .fields = &qv_system_config_fields,
     .message = WIFI_MGR_GET_SYSTEM_CONFIG,
     .record_size = sizeof(SystemConfigRecord)},
    {.kind = REPORT_UCI_VAP_LIST,
     .type = REPORT_TYPE_UCI_VAP_LIST,
     .data_key = "uci_vap_list",
     .list = &qv_vap_list,
     .message = WIFI_MGR_GET_VAP_CONFIG,
     .record_size = sizeof(VapList)},
    {.kind = REPORT_UCI_RADIO_LIST,
     .type = REPORT_TYPE_UCI_RADIO_LIST,
     .data_key = "uci_radio_list",
     .list = &qv_radio_list,
     .message = WIFI_MGR_GET_RADIO_CONFIG,
     .record_size = sizeof(RadioList)},
    {.kind = REPORT_UCI_NETWORK_LAN,
     .type = REPORT_TYPE_UCI_NETWORK_LAN,
     .data_key = "uci_network_lan",
     .fields = &qv_network_lan_fields,
     .message = WIFI_MGR_GET_NETWORK_LAN,
     .record_size = sizeof(LanConfigRecord)},
    {.kind = REPORT_UCI_NETWORK_WAN,
     .type = REPORT_TYPE_UCI_NETWORK_WAN,
     .data_key = "uci_network_wan",
     .fields = &qv_network_wan_fields,
     .message = WIFI_MGR_GET_NETWORK_WAN,
     .record_size = sizeof(WanConfigRecord)},
    {.kind = REPORT_UCI_NETWORK_WAN6,
     .type = REPORT_TYPE_UCI_NETWORK_WAN6,
     .data_key = "uci_network_wan6",
     .fields = &qv_network_wan6_fields,
     .message = WIFI_MGR_GET_NETWORK_WAN6,
     .record_size = sizeof(Wan6ConfigRecord)},
    {.kind = REPORT_UPDATA_STATS,
     .type = REPORT_TYPE_UPDATA_STATS,
     .data_key = "updata_stats",
     .fields = &qv_updata_stats_fields,
     .record_size = sizeof(UpdataStats),
     .fill = qv_fill_updata_stats},
    {.kind = 0,
     .type = REPORT_TYPE_UCI_VAP_MACLIST,
     .data_key = "uci_vap_maclist",
     .fields = &qv_maclist_status_fields,
     .record_size = sizeof(MacListStatus),
     .fill = qv_read_maclist_status},
};
static_assert(std::ranges::all_of(REPORT_KINDS, [](const ReportKind& row) {
    return sizeof(WifiMgrMsg) + row.record_size <= WIFI_MGR_REPLY_MAX;
}));

} // namespace

const std::span<const ReportKind> qv_report_kinds = REPORT_KINDS;
