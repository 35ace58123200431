// Prints, as one JSON object, what the agent's tables say of the protocol: topics, commands with
// what they carry, how they are answered and whether they end in a new session, and reports.
#include "commands.h"
#include "protocol/commands.h"
#include "protocol/topics.h"
#include "report_kinds.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

void add(const JsonPtr& object, const char* key, JsonPtr value) {
    qv_json_add(object.get(), key, std::move(value));
}

JsonPtr text(const char* value) {
    return JsonPtr(value == nullptr ? nullptr : json_object_new_string(value));
}
JsonPtr number(int64_t value) {
    return JsonPtr(json_object_new_int64(value));
}
JsonPtr flag(bool value) {
    return JsonPtr(json_object_new_boolean(value ? 1 : 0));
}

const char* type_name(RecordFieldType type) {
    switch (type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text:
    case RecordFieldType::computed: return "text";
    case RecordFieldType::mac: return "mac";
    case RecordFieldType::u8: return "u8";
    case RecordFieldType::u16: return "u16";
    case RecordFieldType::i32: return "i32";
    case RecordFieldType::list: return "list";
    }
    return "";
}

JsonPtr new_members(RecordTable fields);

JsonPtr new_list(const RecordList& list) {
    JsonPtr object(json_object_new_object());
    const int64_t countable = list.count_width == 1 ? UINT8_MAX : INT32_MAX;
    const int64_t most = std::min<int64_t>(list.room, countable);
    add(object, "room", number(list.room));
    add(object, "shown_least", number(list.shown_empty ? 0 : 1));
    add(object, "shown_most", number(std::min<int64_t>(list.shown_max, most)));
    add(object, "always_shown", flag(list.shown_empty && list.shown_max >= most));
    add(object, "members", new_members(list.fields));
    return object;
}

JsonPtr new_member(const RecordField& field) {
    JsonPtr object(json_object_new_object());
    add(object, "key", text(field.has_key() ? field.key : nullptr));
    add(object, "type", text(type_name(field.type)));
    add(object, "settable", flag(qv_is_settable(field)));
    add(object, "required", flag(field.required));
    if (field.type == RecordFieldType::list) {
        add(object, "list", new_list(*field.special->list));
    } else if (qv_is_integer(field)) {
        add(object, "lowest", number(qv_integer_range(field).lowest));
        add(object, "highest", number(qv_integer_range(field).highest));
    } else {
        add(object, "longest", number(static_cast<int64_t>(qv_longest_text(field))));
        add(object, "width", number(field.width));
    }
    return object;
}

JsonPtr new_members(RecordTable fields) {
    JsonPtr members(json_object_new_array());
    for (const RecordField& field : fields) {
        qv_json_append(members.get(), new_member(field));
    }
    return members;
}

/// The member beside the settings.
JsonPtr new_confirm() {
    JsonPtr object(json_object_new_object());
    add(object, "key", text(CONFIRM_KEY));
    add(object, "lowest", number(CONFIRM_MIN));
    add(object, "highest", number(CONFIRM_MAX));
    return object;
}

JsonPtr new_command(int32_t type, CommandEnding ending = CommandEnding::normal) {
    JsonPtr object(json_object_new_object());
    add(object, "reconnects", flag(qv_reconnects(ending)));
    const auto row = std::ranges::find(qv_command_contracts, type, &CommandContract::type);
    if (row == qv_command_contracts.end()) {
        return object;
    }
    add(object, "key", text(row->key));
    add(object, "members", row->fields == nullptr ? nullptr : new_members(*row->fields));
    add(object, "text_max", number(static_cast<int64_t>(row->text_max)));
    add(object, "answer", number(row->answer));
    add(object, "command_max", number(row->command_max));
    add(object, "confirm", row->takes_confirm ? new_confirm() : nullptr);
    return object;
}

JsonPtr new_commands() {
    JsonPtr commands(json_object_new_object());
    for (const Command& row : qv_commands) {
        add(commands, std::to_string(row.type).c_str(), new_command(row.type, row.ending));
    }
    for (const IntakeCommand& row : qv_intake_commands) {
        add(commands, std::to_string(row.type).c_str(), new_command(row.type));
    }
    return commands;
}

JsonPtr new_reports() {
    JsonPtr reports(json_object_new_object());
    for (const ReportKind& row : qv_report_kinds) {
        JsonPtr object(json_object_new_object());
        add(object, "key", text(row.data_key));
        add(object, "has_ip", flag(row.has_ip));
        const bool has_members = row.fields != nullptr && row.fields->front().has_key();
        add(object, "members", has_members ? new_members(*row.fields) : nullptr);
        add(object, "list", row.list == nullptr ? nullptr : new_list(*row.list));
        add(reports, std::to_string(row.type).c_str(), std::move(object));
    }
    return reports;
}

} // namespace

int main() {
    const JsonPtr facts(json_object_new_object());
    add(facts, "command_topic", text(COMMAND_TOPIC_START));
    add(facts, "report_topic", text(REPORT_TOPIC));
    add(facts, "commands", new_commands());
    add(facts, "reports", new_reports());
    puts(json_object_to_json_string_ext(facts.get(), JSON_C_TO_STRING_PRETTY));
    return 0;
}
