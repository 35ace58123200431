#include "settings/section.h"

#include "platform/log.h"
#include "protocol/record_walk.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

void qv_read_section(CommandType command, std::span<std::byte> record, const char* payload) {
    const CommandContract& contract = qv_command_contract(command);
    const JsonPtr root(json_tokener_parse(payload));
    qv_json_to_record(qv_command_data(root.get(), contract), record, *contract.fields);
}

int32_t qv_set_section(const SettingsSection& section, std::span<std::byte> record,
                       AgentContext& context, const char* payload) {
    const CommandContract& contract = qv_command_contract(section.command);
    if (section.show_payload) {
        qv_log("SUB MSG:payload=%s\n", payload);
    }
    qv_read_section(section.command, record, payload);
    qv_print_record(record, *contract.fields);
    if (section.print_more != nullptr) {
        section.print_more(record);
    }
    const int32_t result = qv_wifi_mgr_apply(section.apply, record);
    if (contract.answer != REPORT_TYPE_NONE) {
        qv_send_report(context, contract.answer, SYSTEM_STATS_ERROR);
    }
    return result;
}
