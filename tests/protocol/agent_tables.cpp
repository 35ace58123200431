// Prints, as one JSON object in the last line, what the agent's tables say of the protocol: the
// commands and how they end, the members that commands may name with their limits, and every
// report, made of records in which each text is as long as its field and each list is full.
#include "agent/context.h"
#include "commands.h"
#include "fake_zendry.h"
#include "protocol/ap_configs_records.h"
#include "protocol/commands.h"
#include "protocol/maclist_records.h"
#include "protocol/radio_vap_records.h"
#include "protocol/system_config_record.h"
#include "protocol/upgrade.h"
#include "protocol/wifi_manager.h"
#include "report_kinds.h"
#include "reports/report.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

void add(json_object* object, const char* key, json_object* value) {
    json_object_object_add(object, key, value);
}

bool reconnects(CommandEnding ending) {
    switch (ending) {
    case CommandEnding::reconnect:
    case CommandEnding::broker_reconnect: return true;
    case CommandEnding::normal:
    case CommandEnding::refresh_identity: return false;
    }
    return false;
}

/// By type, whether the command ends in a new session.
json_object* new_commands() {
    json_object* const commands = json_object_new_object();
    for (const Command& row : qv_commands) {
        add(commands, std::to_string(row.type).c_str(),
            json_object_new_boolean(reconnects(row.ending) ? 1 : 0));
    }
    for (const IntakeCommand& row : qv_intake_commands) {
        add(commands, std::to_string(row.type).c_str(), json_object_new_boolean(0));
    }
    return commands;
}

json_object* new_size(size_t bytes) {
    return json_object_new_int64(static_cast<int64_t>(bytes));
}

/// What a command may give a member: a text's bytes, or the name of an integer type.
json_object* new_limit(const RecordField& field) {
    if (!qv_is_integer(field)) {
        return new_size(qv_longest_text(field));
    }
    constexpr const char* NAMES[] = {"u8", "u16", nullptr, "i32"};
    return json_object_new_string(NAMES[field.width - 1]);
}

json_object* new_members(RecordTable fields) {
    json_object* const members = json_object_new_object();
    for (const RecordField& field : fields) {
        if (qv_is_settable(field) && field.type != RecordFieldType::list) {
            add(members, field.key, new_limit(field));
        }
    }
    return members;
}

/// By the names of the schemas' definitions. Network settings are reported by the tables that they
/// are set by, so their reports tell them.
json_object* new_tables() {
    json_object* const tables = json_object_new_object();
    add(tables, "vap", new_members(qv_vap_fields));
    add(tables, "radio", new_members(qv_radio_config_fields));
    add(tables, "firstVap", new_members(qv_first_vap_fields));
    add(tables, "macLists", new_members(qv_maclist_fields));
    add(tables, "apConfigsRadio", new_members(qv_apconfigs_fields[0].special->list->fields));
    add(tables, "apConfigsVap",
        new_members(qv_apconfigs_fields[0].special->list->fields.back().special->list->fields));
    add(tables, "systemSettings", new_members(qv_system_config_fields));
    add(tables, "upgrade", new_members(qv_fw_fields));
    return tables;
}

/// Longest "general_data" in bytes, by the command.
json_object* new_general_data() {
    json_object* const limits = json_object_new_object();
    add(limits, "1016", new_size(ADMIN_PASSWORD_MAX));
    add(limits, "1017", new_size(EQUIPMENT_NOTES_MAX));
    add(limits, "1018", new_size(MACLIST_INDEX_MAX));
    add(limits, "1022", new_size(GENERAL_DATA_MAX));
    return limits;
}

void fill_replies() {
    constexpr size_t longest_reply = 27000;
    fake().reply_to_others = Bytes(longest_reply, 'x');
    Bytes settings(sizeof(SystemConfigRecord), 'x');
    const int32_t servers = SYSTEM_SERVER_SLOTS - 1; // as many as a report shows
    memcpy(&settings[offsetof(SystemConfigRecord, server_count)], &servers, sizeof servers);
    fake().replies[WIFI_MGR_GET_SYSTEM_CONFIG] = settings;
}

json_object* new_reports() {
    fill_replies();
    AgentContext context;
    context.report_kinds = qv_report_kinds;
    context.identity.ipaddr = {"192.168.1.1"};
    json_object* const reports = json_object_new_array();
    for (const ReportKind& row : qv_report_kinds) {
        ReportBuffer buffer;
        uint32_t length = 0;
        qv_json_build_msg_of_type(context, row.type, buffer, length, 201);
        json_object_array_add(reports, json_tokener_parse(buffer.text()));
    }
    return reports;
}

} // namespace

int main() {
    const JsonPtr everything(json_object_new_object());
    add(everything.get(), "commands", new_commands());
    add(everything.get(), "members", new_tables());
    add(everything.get(), "general_data", new_general_data());
    add(everything.get(), "upgrade_command_max", new_size(FW_COMMAND_MAX));
    add(everything.get(), "reports", new_reports());
    puts(json_object_to_json_string_ext(everything.get(), JSON_C_TO_STRING_PLAIN));
    return 0;
}
