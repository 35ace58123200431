#include "commands.h"

#include "maintenance/device_commands.h"
#include "maintenance/fw_flash.h"
#include "maintenance/fw_upgrade.h"
#include "messages/report.h"
#include "platform/zendry_common.h"
#include "reports/on_request.h"
#include "wifimgr/channel.h"

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

constexpr Command COMMANDS[] = {
    {.type = 1000, .busy_first = false, .handler = show_payload},
    {.type = 1002, .busy_first = true, .handler = qv_fw_upgrade_with_notice},
    {.type = 1014,
     .busy_first = true,
     .handler = forget_broker_status,
     .ending = CommandEnding::broker_reconnect},
    {.type = 1015, .busy_first = true, .handler = qv_set_system_time},
    {.type = 1016, .busy_first = true, .handler = qv_set_admin_password},
    {.type = 1021, .busy_first = true, .handler = qv_wifi_reload},
    {.type = 1034,
     .busy_first = true,
     .handler = qv_report_on_request<REPORT_SYSTEM_STATS, true, RADIO_STATS_ERROR>},
    {.type = 1035, .busy_first = false, .handler = refresh_wifi_stats},
};

constexpr IntakeCommand INTAKE_COMMANDS[] = {
    {.type = 1017, .busy_first = true, .queued_too = true, .handler = qv_set_equipment_notes},
    {.type = 1032, .busy_first = false, .queued_too = false, .handler = qv_fw_flash_start},
    {.type = 1033, .busy_first = false, .queued_too = false, .handler = qv_fw_flash},
};

} // namespace

const std::span<const Command> qv_commands = COMMANDS;
const std::span<const IntakeCommand> qv_intake_commands = INTAKE_COMMANDS;
