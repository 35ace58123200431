#include "state_json.h"

#include "json/mac_text.h"
#include "json/text.h"
#include "protocol/record_walk.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace {

using Bytes = std::span<const std::byte>;
using WritableBytes = std::span<std::byte>;

// Host byte order is little-endian on every machine that this runs on.
static_assert(std::endian::native == std::endian::little);

/// Whether a table is that of a single value.
bool is_plain(RecordTable fields) {
    return !fields[0].has_key();
}

JsonPtr mac_to_json(const uint8_t* mac) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, mac);
    return JsonPtr(json_object_new_string(text));
}

JsonPtr list_to_json(Bytes record, const RecordList& list);

JsonPtr to_json(Bytes record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return qv_json_new_text(qv_record_text(record, field));
    case RecordFieldType::mac: return mac_to_json(qv_record_mac(record, field));
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32:
        return JsonPtr(json_object_new_int(qv_record_integer(record, field)));
    case RecordFieldType::list: return list_to_json(record, *field.special->list);
    case RecordFieldType::computed: return qv_json_new_text(field.special->compute(record));
    }
    return nullptr;
}

JsonPtr members_to_json(Bytes record, RecordTable fields) {
    if (is_plain(fields)) {
        return to_json(record, fields[0]);
    }
    JsonPtr object(json_object_new_object());
    for (const RecordField& field : fields) {
        qv_json_add(object.get(), field.key, to_json(record, field));
    }
    return object;
}

JsonPtr list_to_json(Bytes record, const RecordList& list) {
    JsonPtr array(json_object_new_array());
    for (size_t i = 0; i < qv_listed(record, list); ++i) {
        const Bytes entry = record.subspan(list.first + i * list.stride, list.stride);
        qv_json_append(array.get(), members_to_json(entry, list.fields));
    }
    return array;
}

// Each of these returns what is wrong with the value, or nothing.

std::string load_text(WritableBytes record, const RecordField& field, json_object* value) {
    const auto length = static_cast<size_t>(json_object_get_string_len(value));
    if (json_object_is_type(value, json_type_string) == 0 || length > qv_longest_text(field)) {
        return " is no text that fits";
    }
    const WritableBytes bytes = record.subspan(field.offset, field.width);
    qv_set_field_text({reinterpret_cast<char*>(bytes.data()), bytes.size()},
                      {json_object_get_string(value), length});
    return {};
}

std::string load_mac(WritableBytes record, const RecordField& field, json_object* value) {
    uint8_t address[6];
    if (json_object_is_type(value, json_type_string) == 0 ||
        !qv_read_mac(json_object_get_string(value), address)) {
        return " is no MAC address";
    }
    std::memcpy(record.subspan(field.offset).data(), address, sizeof address);
    return {};
}

std::string load_number(WritableBytes record, const RecordField& field, json_object* value) {
    const int64_t number = json_object_get_int64(value);
    const auto [lowest, highest] = qv_integer_range(field);
    if (json_object_is_type(value, json_type_int) == 0 || number < lowest || number > highest) {
        return " is no number that fits";
    }
    std::memcpy(record.subspan(field.offset).data(), &number, field.width);
    return {};
}

std::string load_list(WritableBytes record, const RecordList& list, json_object* array);

std::string load(WritableBytes record, const RecordField& field, json_object* value) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return load_text(record, field, value);
    case RecordFieldType::mac: return load_mac(record, field, value);
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return load_number(record, field, value);
    case RecordFieldType::list: return load_list(record, *field.special->list, value);
    case RecordFieldType::computed: break;
    }
    if (!qv_is_settable(field)) {
        return " follows from other members";
    }
    field.special->store(record, value);
    return {};
}

std::string load_members(WritableBytes record, RecordTable fields, json_object* value) {
    if (is_plain(fields)) {
        return load(record, fields[0], value);
    }
    if (json_object_is_type(value, json_type_object) == 0) {
        return " is no object";
    }
    json_object_object_foreach(value, key, member) {
        const RecordField* const field = qv_find_record_field(fields, key);
        const std::string error = field == nullptr ? " is unknown" : load(record, *field, member);
        if (!error.empty()) {
            return '.' + std::string(key) + error;
        }
    }
    return {};
}

std::string load_list(WritableBytes record, const RecordList& list, json_object* array) {
    if (json_object_is_type(array, json_type_array) == 0 ||
        json_object_array_length(array) > list.room) {
        return " is no array that fits";
    }
    const size_t length = json_object_array_length(array);
    const uint32_t count = static_cast<uint32_t>(length) * list.count_unit;
    std::memcpy(record.subspan(list.count_offset).data(), &count, list.count_width);
    if (qv_listed(record, list) != length) {
        return " has more entries than its count can say";
    }
    for (size_t i = 0; i < length; ++i) {
        const std::string error =
            load_members(record.subspan(list.first + i * list.stride, list.stride), list.fields,
                         json_object_array_get_idx(array, i));
        if (!error.empty()) {
            return '[' + std::to_string(i) + ']' + error;
        }
    }
    return {};
}

std::string load_member(WritableBytes ap, const StateMember& member, json_object* value) {
    const WritableBytes record = ap.subspan(member.offset, member.size);
    return member.derived           ? ""
           : member.list == nullptr ? load_members(record, *member.fields, value)
                                    : load_list(record, *member.list, value);
}

JsonPtr state_to_json(Bytes ap) {
    JsonPtr state(json_object_new_object());
    for (const StateMember& member : STATE_MEMBERS) {
        const Bytes record = ap.subspan(member.offset, member.size);
        qv_json_add(state.get(), member.name,
                    member.list == nullptr ? members_to_json(record, *member.fields)
                                           : list_to_json(record, *member.list));
    }
    return state;
}

} // namespace

std::string qv_load_state(AccessPoint& ap, const std::string& path) {
    const JsonPtr root(json_object_from_file(path.c_str()));
    if (root == nullptr) {
        return json_util_get_last_err();
    }
    if (json_object_is_type(root.get(), json_type_object) == 0) {
        return " is no object";
    }
    json_object_object_foreach(root.get(), name, value) {
        const auto* const member =
            std::ranges::find(STATE_MEMBERS, std::string_view(name), &StateMember::name);
        const std::string error = member == std::end(STATE_MEMBERS)
                                      ? " is unknown"
                                      : load_member(qv_record_bytes(ap), *member, value);
        if (!error.empty()) {
            return '.' + std::string(name) + error;
        }
    }
    return {};
}

bool qv_save_state(const AccessPoint& ap, const std::string& path) {
    const std::string fresh = path + ".new";
    const JsonPtr root = state_to_json(qv_record_bytes(ap));
    return json_object_to_file_ext(fresh.c_str(), root.get(), JSON_C_TO_STRING_PRETTY) == 0 &&
           std::rename(fresh.c_str(), path.c_str()) == 0;
}
