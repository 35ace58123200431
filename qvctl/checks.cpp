#include "checks.h"

#include "failure.h"
#include "protocol/commands.h"
#include "protocol/record_walk.h"
#include "protocol/system_config_record.h"
#include "words.h"

#include <algorithm>
#include <json-c/json_util.h>
#include <vector>

namespace qvctl {

namespace {

[[noreturn]] void refuse(const std::string& key, const std::string& reason) {
    throw Failure(REFUSED, key + ": " + reason);
}

[[noreturn]] void refuse_unknown(const std::string& name, const char* key, RecordTable fields) {
    std::vector<std::string> known;
    for (const RecordField& field : fields) {
        known.emplace_back(field.key);
    }
    const std::string nearest = nearest_word(key, known);
    refuse(name, "is unknown here" + (nearest.empty() ? "" : "; the nearest is " + nearest));
}

/// A value as a text field takes it: a string as it is, any other value as its JSON text.
std::string_view text_of(json_object* value) {
    return json_object_is_type(value, json_type_string) != 0
               ? std::string_view(json_object_get_string(value),
                                  static_cast<size_t>(json_object_get_string_len(value)))
               : std::string_view(json_object_to_json_string(value));
}

void check_object(const std::string& key, json_object* value) {
    if (json_object_is_type(value, json_type_object) == 0) {
        refuse(key, "is no JSON object");
    }
}

void check_array(const std::string& key, json_object* value, size_t limit) {
    if (json_object_is_type(value, json_type_array) == 0) {
        refuse(key, "is no JSON array");
    }
    const size_t count = json_object_array_length(value);
    if (count > limit) {
        refuse(key, std::to_string(count) + " elements, at most " + std::to_string(limit));
    }
}

std::string element(const std::string& key, size_t index) {
    return key + "[" + std::to_string(index) + "]";
}

/// A list or an object would become its JSON text, which nobody means.
void check_scalar_text(const std::string& key, json_object* value, size_t limit) {
    if (json_object_is_type(value, json_type_array) != 0 ||
        json_object_is_type(value, json_type_object) != 0) {
        refuse(key, "is no text");
    }
    check_text(key, text_of(value), limit);
}

void check_field(const std::string& key, json_object* value, const RecordField& field);

void check_list(const std::string& key, json_object* value, const RecordList& list) {
    check_array(key, value, list.room); // of more than one VAP the device takes the first only
    for (size_t i = 0; i < json_object_array_length(value); ++i) {
        json_object* const entry = json_object_array_get_idx(value, i);
        if (!list.fields[0].has_key()) {
            check_field(element(key, i), entry, list.fields[0]);
        } else {
            check_members(element(key, i), entry, list.fields);
        }
    }
}

void check_field(const std::string& key, json_object* value, const RecordField& field) {
    if (!qv_is_settable(field)) {
        refuse(key, "is reported only, and cannot be set");
    }
    if (field.type == RecordFieldType::list) {
        check_list(key, value, *field.special->list);
    } else if (qv_is_integer(field)) {
        const IntegerRange range = qv_integer_range(field);
        check_integer(key, value, range.lowest, range.highest);
    } else {
        check_scalar_text(key, value, qv_longest_text(field));
    }
}

std::string name_in(const std::string& prefix, const char* key) {
    return prefix.empty() ? key : prefix + "." + key;
}

} // namespace

void check_text(const std::string& key, std::string_view text, size_t limit) {
    if (text.size() > limit) {
        refuse(key, std::to_string(text.size()) + " bytes, at most " + std::to_string(limit));
    }
    if (text.find('\0') != text.npos) {
        refuse(key, "holds a NUL");
    }
}

void check_no_control(const std::string& key, std::string_view text) {
    const auto is_control = [](char character) {
        return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
    };
    if (std::ranges::any_of(text, is_control)) {
        refuse(key, "holds control characters");
    }
}

void check_integer(const std::string& key, json_object* value, int64_t lowest, int64_t highest) {
    int64_t number = 0;
    const std::string text(text_of(value));
    const bool is_integer =
        !text.empty() &&
        text.find_first_not_of("0123456789", text[0] == '-' ? 1 : 0) == std::string::npos &&
        json_parse_int64(text.c_str(), &number) == 0;
    if (!is_integer || number < lowest || number > highest) {
        refuse(key, "\"" + text + "\" is no integer from " + std::to_string(lowest) + " to " +
                        std::to_string(highest));
    }
}

void check_members(const std::string& prefix, json_object* object, RecordTable fields) {
    check_object(prefix.empty() ? "settings" : prefix, object);
    for (const RecordField& field : fields) { // the device stops at the first that is missing
        if (field.required) {
            json_object* const value = qv_json_member(object, field.key);
            if (value == nullptr) {
                refuse(name_in(prefix, field.key), "is missing");
            }
            check_field(name_in(prefix, field.key), value, field);
        }
    }
    json_object_object_foreach(object, key, value) {
        const RecordField* const field = qv_find_record_field(fields, key);
        if (field == nullptr) {
            refuse_unknown(name_in(prefix, key), key, fields);
        }
        if (!field->required) {
            check_field(name_in(prefix, key), value, *field);
        }
    }
}

void check_servers(json_object* settings) {
    json_object* const servers = qv_json_member(settings, SYSTEM_SERVER_KEY);
    const size_t count = servers == nullptr ? 0 : json_object_array_length(servers);
    for (size_t i = 0; i < count; ++i) {
        check_no_control(element(SYSTEM_SERVER_KEY, i),
                         text_of(json_object_array_get_idx(servers, i)));
    }
}

void check_firmware(json_object* command) {
    const CommandContract& contract = qv_command_contract(COMMAND_FW_UPGRADE);
    check_members("", qv_command_data(command, contract), *contract.fields);
    check_text("command text", json_object_to_json_string_ext(command, JSON_C_TO_STRING_PLAIN),
               contract.command_max);
}

} // namespace qvctl
