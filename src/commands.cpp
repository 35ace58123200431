#include "commands.h"

#include "maintenance/device_commands.h"
#include "maintenance/fw_flash.h"
#include "maintenance/fw_upgrade.h"
#include "messages/report.h"
#include "network/network_config.h"
#include "platform/zendry_common.h"
#include "reports/on_request.h"
#include "settings/system_config.h"
#include "wifimgr/channel.h"
#include "wireless/ap_configs.h"
#include "wireless/general_data.h"
#include "wireless/maclist.h"
#include "wireless/radio_config.h"
#include "wireless/vap_config.h"

#include <cstdio>

namespace {

int32_t show_payload(AgentContext& /*context*/, const char* payload, uint32_t /*length*/) {
    printf("SUB MSG: payload=%s\n", payload);
    return 0;
}

int32_t forget_broker_status(AgentContext& /*context*/, const char* /*payload*/,
                             uint32_t /*length*/) {
    return uci_set_system_broker_status(0);
}

int32_t refresh_wifi_stats(AgentContext& /*context*/, const char* /*payload*/,
                           uint32_t /*length*/) {
    if (qv_get_wifi_stats() < 0) {
        puts("QV_ERR: failed to fetch wifi stats..");
    }
    return 0;
}

constexpr auto ask_ap_stats = qv_report_on_request<REPORT_AP_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_sta_stats = qv_report_on_request<REPORT_STA_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_radio_stats = qv_report_on_request<REPORT_RADIO_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_interface_stats =
    qv_report_on_request<REPORT_INTERFACE_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_system_config =
    qv_report_on_request<REPORT_UCI_SYSTEM, true, SYSTEM_STATS_ERROR>;
constexpr auto ask_vap_list = qv_report_on_request<REPORT_UCI_VAP_LIST, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_lan =
    qv_report_on_request<REPORT_UCI_NETWORK_LAN, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_wan =
    qv_report_on_request<REPORT_UCI_NETWORK_WAN, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_wan6 =
    qv_report_on_request<REPORT_UCI_NETWORK_WAN6, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_system_stats =
    qv_report_on_request<REPORT_SYSTEM_STATS, true, RADIO_STATS_ERROR>;

using enum CommandEnding;

constexpr Command COMMANDS[] = {
    {.type = 1000, .handler = show_payload, .busy_first = false},
    {.type = 1001, .handler = qv_set_ap_configs},
    {.type = 1002, .handler = qv_fw_upgrade_with_notice},
    {.type = 1003, .handler = qv_set_system_config},
    {.type = 1004, .handler = qv_set_vap_config_1004},
    {.type = 1005, .handler = qv_set_radio_config},
    {.type = 1006, .handler = qv_set_vap_config_1006},
    {.type = 1007, .handler = qv_set_vap_config_1007},
    {.type = 1011, .handler = qv_set_network_lan, .ending = reconnect},
    {.type = 1012, .handler = qv_set_network_wan, .ending = reconnect},
    {.type = 1013, .handler = qv_set_network_wan6, .ending = reconnect},
    {.type = 1014, .handler = forget_broker_status, .ending = broker_reconnect},
    {.type = 1015, .handler = qv_set_system_time},
    {.type = 1016, .handler = qv_set_admin_password},
    {.type = 1018, .handler = qv_report_maclist_status},
    {.type = 1019, .handler = qv_set_maclist},
    {.type = 1020, .handler = qv_delete_maclist},
    {.type = 1021, .handler = qv_wifi_reload},
    {.type = 1022, .handler = qv_set_general_data},
    {.type = 1023, .handler = ask_ap_stats},
    {.type = 1024, .handler = ask_sta_stats},
    {.type = 1025, .handler = ask_radio_stats},
    {.type = 1026, .handler = ask_interface_stats},
    {.type = 1027, .handler = ask_system_config},
    {.type = 1028, .handler = ask_vap_list},
    {.type = 1029,
     .handler = ask_network_lan,
     .ending = reconnect,
     .identity_failure = "Fail to fetch device mac addr .."},
    {.type = 1030, .handler = ask_network_wan, .ending = reconnect},
    {.type = 1031, .handler = ask_network_wan6, .ending = refresh_identity},
    {.type = 1034, .handler = ask_system_stats},
    {.type = 1035, .handler = refresh_wifi_stats, .busy_first = false},
};

constexpr IntakeCommand INTAKE_COMMANDS[] = {
    {.type = 1017, .handler = qv_set_equipment_notes, .busy_first = true, .queued_too = true},
    {.type = 1032, .handler = qv_fw_flash_start},
    {.type = 1033, .handler = qv_fw_flash},
};

} // namespace

const std::span<const Command> qv_commands = COMMANDS;
const std::span<const IntakeCommand> qv_intake_commands = INTAKE_COMMANDS;
