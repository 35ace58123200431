#include "checks.h"

#include "failure.h"
#include "maintenance/fw_params.h"
#include "network/record_tables.h"
#include "settings/system_config_record.h"
#include "settings/system_config_table.h"
#include "wireless/ap_configs_records.h"
#include "wireless/record_tables.h"
#include "words.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <json-c/json_util.h>
#include <limits>
#include <vector>

namespace qvctl {

namespace {

[[noreturn]] void refuse(const std::string& key, const std::string& reason) {
    throw Failure(REFUSED, key + ": " + reason);
}

[[noreturn]] void refuse_unknown(const std::string& name, const char* key,
                                 std::span<const RecordField> fields,
                                 std::span<const char* const> others) {
    std::vector<std::string> known(others.begin(), others.end());
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

void check_field(const std::string& key, json_object* value, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text: check_scalar_text(key, value, field.width); return;
    case RecordFieldType::i32:
        check_integer(key, value, std::numeric_limits<int32_t>::min(),
                      std::numeric_limits<int32_t>::max());
        return;
    case RecordFieldType::computed:
        if (field.store != nullptr) {
            check_scalar_text(key, value, field.width);
            return;
        }
        break;
    case RecordFieldType::mac:
    case RecordFieldType::u8:
    case RecordFieldType::u16: break;
    }
    refuse(key, "is reported only, and cannot be set");
}

/// The whole entry must be there: the device stops at the first member that is missing.
void check_entry(const std::string& key, json_object* object,
                 std::span<const ApConfigsField> fields, const char* list = nullptr) {
    check_object(key, object);
    for (const ApConfigsField& field : fields) {
        const std::string name = key + "." + field.key;
        json_object* const value = qv_json_member(object, field.key);
        if (value == nullptr) {
            refuse(name, "is missing");
        }
        if (field.type == FIELD_TYPE_STRING) {
            check_scalar_text(name, value, field.width - size_t{1});
        } else {
            check_integer(name, value, 0, (int64_t{1} << (8 * field.width)) - 1);
        }
    }
    json_object_object_foreach(object, name, value) {
        (void)value;
        const bool known = (list != nullptr && strcmp(name, list) == 0) ||
                           std::ranges::any_of(fields, [name](const ApConfigsField& field) {
                               return strcmp(field.key, name) == 0;
                           });
        if (!known) {
            refuse(key + "." + name, "is unknown here");
        }
    }
}

void check_radio_entry(const std::string& key, json_object* radio) {
    check_entry(key, radio, qv_apconfigs_radio_fields, "vap_list");
    json_object* const vaps = qv_json_member(radio, "vap_list");
    check_array(key + ".vap_list", vaps, std::size(ApConfigsRadio{}.vaps));
    for (size_t i = 0; i < json_object_array_length(vaps); ++i) {
        check_entry(element(key + ".vap_list", i), json_object_array_get_idx(vaps, i),
                    qv_apconfigs_vap_fields);
    }
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

void check_members(const std::string& prefix, json_object* object,
                   std::span<const RecordField> fields, std::span<const char* const> others) {
    check_object(prefix.empty() ? "settings" : prefix, object);
    json_object_object_foreach(object, key, value) {
        const std::string name = prefix.empty() ? key : prefix + "." + key;
        const RecordField* const field = qv_find_record_field(fields, key);
        if (field != nullptr) {
            check_field(name, value, *field);
        } else if (std::ranges::none_of(
                       others, [key](const char* other) { return strcmp(key, other) == 0; })) {
            refuse_unknown(name, key, fields, others);
        }
    }
}

void check_system_settings(json_object* settings) {
    constexpr const char* OTHERS[] = {SYSTEM_SERVER_KEY};
    check_members("", settings, qv_system_config_fields, OTHERS);
    json_object* const servers = qv_json_member(settings, SYSTEM_SERVER_KEY);
    if (servers == nullptr) {
        return;
    }
    check_array(SYSTEM_SERVER_KEY, servers, SYSTEM_SERVER_SLOTS);
    for (size_t i = 0; i < json_object_array_length(servers); ++i) {
        json_object* const server = json_object_array_get_idx(servers, i);
        check_scalar_text(element(SYSTEM_SERVER_KEY, i), server, SYSTEM_SERVER_SIZE - 1);
        check_no_control(element(SYSTEM_SERVER_KEY, i), text_of(server));
    }
}

void check_vap(json_object* settings) {
    check_members("", settings, qv_vap_fields);
}

void check_radio(json_object* settings) {
    constexpr const char* OTHERS[] = {"vap_list"};
    check_members("", settings, qv_radio_config_fields, OTHERS);
    json_object* const vaps = qv_json_member(settings, OTHERS[0]);
    if (vaps != nullptr) {
        check_array(OTHERS[0], vaps, 1); // the device takes the first one only
        for (size_t i = 0; i < json_object_array_length(vaps); ++i) {
            check_members(element(OTHERS[0], i), json_object_array_get_idx(vaps, i),
                          qv_first_vap_fields);
        }
    }
}

void check_access_point(json_object* settings) {
    constexpr const char* OTHERS[] = {"radio_list"};
    check_members("", settings, {}, OTHERS);
    json_object* const radios = qv_json_member(settings, OTHERS[0]);
    check_array(OTHERS[0], radios, std::size(ApConfigs{}.radios));
    for (size_t i = 0; i < json_object_array_length(radios); ++i) {
        check_radio_entry(element(OTHERS[0], i), json_object_array_get_idx(radios, i));
    }
}

void check_lan(json_object* settings) {
    check_members("", settings, qv_network_lan_fields);
}

void check_wan(json_object* settings) {
    check_members("", settings, qv_network_wan_fields);
}

void check_wan6(json_object* settings) {
    check_members("", settings, qv_network_wan6_fields);
}

void check_maclist(json_object* settings) {
    check_members("", settings, qv_maclist_fields);
}

void check_firmware(json_object* settings, json_object* command) {
    if (text_of(qv_json_member(settings, "image_name")).empty()) {
        refuse("image_name", "is empty");
    }
    FwParams params{};
    for (const FwField& field : qv_fw_fields) {
        json_object* const value = qv_json_member(settings, field.key);
        check_text(field.key, text_of(value), field.field(params).size() - 1);
    }
    check_text("command text", json_object_to_json_string_ext(command, JSON_C_TO_STRING_PLAIN),
               FW_COMMAND_MAX);
}

} // namespace qvctl
