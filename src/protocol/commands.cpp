#include "protocol/commands.h"

#include "protocol/ap_configs_records.h"
#include "protocol/maclist_records.h"
#include "protocol/network_records.h"
#include "protocol/radio_vap_records.h"
#include "protocol/system_config_record.h"
#include "protocol/upgrade.h"

#include <algorithm>

namespace {

constexpr CommandContract COMMANDS[] = {
    {.type = COMMAND_SET_APCONFIGS, .key = "apconfigs", .fields = &qv_apconfigs_fields},
    {.type = COMMAND_FW_UPGRADE,
     .answer = REPORT_TYPE_UPDATA_STATS,
     .key = "fw_params",
     .fields = &qv_fw_fields,
     .command_max = FW_COMMAND_MAX},
    {.type = COMMAND_SET_SYSTEM,
     .answer = REPORT_TYPE_UCI_SYSTEM,
     .key = "uci_system",
     .fields = &qv_system_config_fields},
    {.type = COMMAND_SET_VAP_AND_REPORT,
     .answer = REPORT_TYPE_UCI_VAP_LIST,
     .key = "vap_config",
     .fields = &qv_vap_fields},
    {.type = COMMAND_SET_RADIO,
     .answer = REPORT_TYPE_UCI_RADIO_LIST,
     .key = "general_data",
     .fields = &qv_radio_config_fields},
    {.type = COMMAND_SET_VAP_1006, .key = "vap_config", .fields = &qv_vap_fields},
    {.type = COMMAND_SET_VAP_1007, .key = "vap_config", .fields = &qv_vap_fields},
    {.type = COMMAND_SET_NETWORK_LAN,
     .answer = REPORT_TYPE_UCI_NETWORK_LAN,
     .key = "uci_network_lan",
     .fields = &qv_network_lan_fields,
     .takes_confirm = true},
    {.type = COMMAND_SET_NETWORK_WAN,
     .answer = REPORT_TYPE_UCI_NETWORK_WAN,
     .key = "uci_network_wan",
     .fields = &qv_network_wan_fields,
     .takes_confirm = true},
    {.type = COMMAND_SET_NETWORK_WAN6,
     .answer = REPORT_TYPE_UCI_NETWORK_WAN6,
     .key = "uci_network_wan6",
     .fields = &qv_network_wan6_fields,
     .takes_confirm = true},
    {.type = COMMAND_SET_PASSWORD, .key = "general_data", .text_max = ADMIN_PASSWORD_MAX},
    {.type = COMMAND_SET_EQUIPMENT_NOTES, .key = "general_data", .text_max = EQUIPMENT_NOTES_MAX},
    {.type = COMMAND_GET_MACLIST_STATUS,
     .answer = REPORT_TYPE_UCI_VAP_MACLIST,
     .key = "general_data",
     .text_max = MACLIST_INDEX_MAX},
    {.type = COMMAND_SET_MACLIST, .key = "general_data", .fields = &qv_maclist_fields},
    {.type = COMMAND_DELETE_MACLIST, .key = "general_data", .fields = &qv_maclist_fields},
    {.type = COMMAND_SET_GENERAL_DATA, .key = "general_data", .text_max = GENERAL_DATA_MAX},
    {.type = COMMAND_GET_AP_STATS, .answer = REPORT_TYPE_AP_STATS},
    {.type = COMMAND_GET_STA_STATS, .answer = REPORT_TYPE_STA_STATS},
    {.type = COMMAND_GET_RADIO_STATS, .answer = REPORT_TYPE_RADIO_STATS},
    {.type = COMMAND_GET_INTERFACE_STATS, .answer = REPORT_TYPE_INTERFACE_STATS},
    {.type = COMMAND_GET_SYSTEM, .answer = REPORT_TYPE_UCI_SYSTEM},
    {.type = COMMAND_GET_VAP_LIST, .answer = REPORT_TYPE_UCI_VAP_LIST},
    {.type = COMMAND_GET_NETWORK_LAN, .answer = REPORT_TYPE_UCI_NETWORK_LAN},
    {.type = COMMAND_GET_NETWORK_WAN, .answer = REPORT_TYPE_UCI_NETWORK_WAN},
    {.type = COMMAND_GET_NETWORK_WAN6, .answer = REPORT_TYPE_UCI_NETWORK_WAN6},
    {.type = COMMAND_FW_UPGRADE_IN_BACKGROUND,
     .answer = REPORT_TYPE_UPDATA_STATS,
     .key = "fw_params",
     .fields = &qv_fw_fields,
     .command_max = FW_COMMAND_MAX},
    {.type = COMMAND_FW_FLASH,
     .answer = REPORT_TYPE_UPDATA_STATS,
     .key = "flash_params",
     .fields = &qv_flash_fields},
    {.type = COMMAND_GET_SYSTEM_STATS, .answer = REPORT_TYPE_SYSTEM_STATS},
};

} // namespace

const std::span<const CommandContract> qv_command_contracts = COMMANDS;

const CommandContract& qv_command_contract(CommandType type) {
    return *std::ranges::find(qv_command_contracts, type, &CommandContract::type);
}

json_object* qv_command_data(json_object* command, const CommandContract& contract) {
    return qv_json_path(command, {"data", contract.key});
}
