#include "commands.h"

#include "maintenance/device_commands.h"
#include "maintenance/fw_flash.h"
#include "maintenance/fw_upgrade.h"
#include "network/network_config.h"
#include "platform/log.h"
#include "platform/zendry_common.h"
#include "protocol/commands.h"
#include "reports/on_request.h"
#include "settings/system_config.h"
#include "wifimgr/channel.h"
#include "wireless/ap_configs.h"
#include "wireless/general_data.h"
#include "wireless/maclist.h"
#include "wireless/radio_config.h"
#include "wireless/vap_config.h"

namespace {

int32_t show_payload(AgentContext& /*context*/, const char* payload, uint32_t /*length*/) {
    qv_log("SUB MSG: payload=%s\n", payload);
    return 0;
}

int32_t forget_broker_status(AgentContext& /*context*/, const char* /*payload*/,
                             uint32_t /*length*/) {
    return uci_set_system_broker_status(0);
}

int32_t refresh_wifi_stats(AgentContext& /*context*/, const char* /*payload*/,
                           uint32_t /*length*/) {
    if (qv_get_wifi_stats() < 0) {
        qv_log("QV_ERR: failed to fetch wifi stats..\n");
    }
    return 0;
}

constexpr auto ask_ap_stats = qv_report_on_request<COMMAND_GET_AP_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_sta_stats = qv_report_on_request<COMMAND_GET_STA_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_radio_stats =
    qv_report_on_request<COMMAND_GET_RADIO_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_interface_stats =
    qv_report_on_request<COMMAND_GET_INTERFACE_STATS, true, RADIO_STATS_ERROR>;
constexpr auto ask_system_config =
    qv_report_on_request<COMMAND_GET_SYSTEM, true, SYSTEM_STATS_ERROR>;
constexpr auto ask_vap_list = qv_report_on_request<COMMAND_GET_VAP_LIST, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_lan =
    qv_report_on_request<COMMAND_GET_NETWORK_LAN, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_wan =
    qv_report_on_request<COMMAND_GET_NETWORK_WAN, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_network_wan6 =
    qv_report_on_request<COMMAND_GET_NETWORK_WAN6, false, SYSTEM_STATS_ERROR>;
constexpr auto ask_system_stats =
    qv_report_on_request<COMMAND_GET_SYSTEM_STATS, true, RADIO_STATS_ERROR>;

using enum CommandEnding;

constexpr Command COMMANDS[] = {
    {.type = COMMAND_HELLO, .handler = show_payload, .busy_first = false},
    {.type = COMMAND_SET_APCONFIGS, .handler = qv_set_ap_configs},
    {.type = COMMAND_FW_UPGRADE, .handler = qv_fw_upgrade_with_notice},
    {.type = COMMAND_SET_SYSTEM, .handler = qv_set_system_config},
    {.type = COMMAND_SET_VAP_AND_REPORT, .handler = qv_set_vap_config_1004},
    {.type = COMMAND_SET_RADIO, .handler = qv_set_radio_config},
    {.type = COMMAND_SET_VAP_1006, .handler = qv_set_vap_config_1006},
    {.type = COMMAND_SET_VAP_1007, .handler = qv_set_vap_config_1007},
    {.type = COMMAND_SET_NETWORK_LAN, .handler = qv_set_network_lan, .ending = reconnect},
    {.type = COMMAND_SET_NETWORK_WAN, .handler = qv_set_network_wan, .ending = reconnect},
    {.type = COMMAND_SET_NETWORK_WAN6, .handler = qv_set_network_wan6, .ending = reconnect},
    {.type = COMMAND_RECONNECT, .handler = forget_broker_status, .ending = broker_reconnect},
    {.type = COMMAND_SET_CLOCK, .handler = qv_set_system_time},
    {.type = COMMAND_SET_PASSWORD, .handler = qv_set_admin_password},
    {.type = COMMAND_GET_MACLIST_STATUS, .handler = qv_report_maclist_status},
    {.type = COMMAND_SET_MACLIST, .handler = qv_set_maclist},
    {.type = COMMAND_DELETE_MACLIST, .handler = qv_delete_maclist},
    {.type = COMMAND_WIFI_RELOAD, .handler = qv_wifi_reload},
    {.type = COMMAND_SET_GENERAL_DATA, .handler = qv_set_general_data},
    {.type = COMMAND_GET_AP_STATS, .handler = ask_ap_stats},
    {.type = COMMAND_GET_STA_STATS, .handler = ask_sta_stats},
    {.type = COMMAND_GET_RADIO_STATS, .handler = ask_radio_stats},
    {.type = COMMAND_GET_INTERFACE_STATS, .handler = ask_interface_stats},
    {.type = COMMAND_GET_SYSTEM, .handler = ask_system_config},
    {.type = COMMAND_GET_VAP_LIST, .handler = ask_vap_list},
    {.type = COMMAND_GET_NETWORK_LAN,
     .handler = ask_network_lan,
     .ending = reconnect,
     .identity_failure = "Fail to fetch device mac addr .."},
    {.type = COMMAND_GET_NETWORK_WAN, .handler = ask_network_wan, .ending = reconnect},
    {.type = COMMAND_GET_NETWORK_WAN6, .handler = ask_network_wan6, .ending = refresh_identity},
    {.type = COMMAND_GET_SYSTEM_STATS, .handler = ask_system_stats},
    {.type = COMMAND_REFRESH_WIFI_STATS, .handler = refresh_wifi_stats, .busy_first = false},
};

constexpr IntakeCommand INTAKE_COMMANDS[] = {
    {.type = COMMAND_SET_EQUIPMENT_NOTES,
     .handler = qv_set_equipment_notes,
     .busy_first = true,
     .queued_too = true},
    {.type = COMMAND_FW_UPGRADE_IN_BACKGROUND, .handler = qv_fw_flash_start},
    {.type = COMMAND_FW_FLASH, .handler = qv_fw_flash},
};

} // namespace

const std::span<const Command> qv_commands = COMMANDS;
const std::span<const IntakeCommand> qv_intake_commands = INTAKE_COMMANDS;
