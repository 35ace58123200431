#include "state_json.h"

#include "state_fields.h"
#include "json/json_scope.h"
#include "json/mac_text.h"
#include "json/text.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace {

using Bytes = std::span<const std::byte>;
using WritableBytes = std::span<std::byte>;
using Kind = StateFieldKind;

// Host byte order is little-endian on every machine that this runs on.
static_assert(std::endian::native == std::endian::little);

int64_t read_number(Bytes bytes, bool is_signed) {
    uint64_t value = 0;
    std::memcpy(&value, bytes.data(), bytes.size());
    const uint64_t sign = uint64_t{1} << (bytes.size() * 8 - 1);
    return static_cast<int64_t>(is_signed ? (value ^ sign) - sign : value);
}

void write_number(WritableBytes bytes, int64_t value) {
    std::memcpy(bytes.data(), &value, bytes.size());
}

size_t count_of(Bytes record, const StateField& list) {
    const Bytes bytes = record.subspan(list.count->offset, list.count->size);
    const int64_t count = read_number(bytes, list.count->kind == Kind::negative_number);
    return std::min(static_cast<size_t>(std::max<int64_t>(count, 0)) / list.count_unit, list.room);
}

/// Whether a list's entries are single values.
bool is_plain(const StateField& list) {
    return list.members[0].name == nullptr;
}

std::string_view text_in(Bytes bytes) {
    return qv_field_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

JsonPtr mac_to_json(Bytes bytes) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, reinterpret_cast<const uint8_t*>(bytes.data()));
    return JsonPtr(json_object_new_string(text));
}

JsonPtr to_json(Bytes record, const StateField& field);

JsonPtr members_to_json(Bytes record, std::span<const StateField> members) {
    JsonPtr object(json_object_new_object());
    for (const StateField& member : members) {
        qv_json_add(object.get(), member.name, to_json(record, member));
    }
    return object;
}

JsonPtr list_to_json(Bytes record, const StateField& list) {
    JsonPtr array(json_object_new_array());
    for (size_t i = 0; i < count_of(record, list); ++i) {
        const Bytes entry = record.subspan(list.offset + i * list.size, list.size);
        qv_json_append(array.get(), is_plain(list) ? to_json(entry, list.members[0])
                                                   : members_to_json(entry, list.members));
    }
    return array;
}

JsonPtr to_json(Bytes record, const StateField& field) {
    if (field.kind == Kind::list) {
        return list_to_json(record, field);
    }
    const Bytes bytes = record.subspan(field.offset, field.size);
    switch (field.kind) {
    case Kind::text: return qv_json_new_text(text_in(bytes));
    case Kind::mac: return mac_to_json(bytes);
    case Kind::number: return JsonPtr(json_object_new_int64(read_number(bytes, false)));
    case Kind::negative_number: return JsonPtr(json_object_new_int64(read_number(bytes, true)));
    case Kind::record: return members_to_json(bytes, field.members);
    case Kind::list: break;
    }
    return nullptr;
}

std::string load(WritableBytes record, const StateField& field, json_object* value);

std::string load_text(WritableBytes bytes, json_object* value) {
    const int length = json_object_get_string_len(value);
    if (json_object_is_type(value, json_type_string) == 0 ||
        static_cast<size_t>(length) > bytes.size()) {
        return " is no text that fits";
    }
    qv_set_field_text({reinterpret_cast<char*>(bytes.data()), bytes.size()},
                      {json_object_get_string(value), static_cast<size_t>(length)});
    return {};
}

std::string load_mac(WritableBytes bytes, json_object* value) {
    uint8_t address[6];
    if (json_object_is_type(value, json_type_string) == 0 ||
        !qv_read_mac(json_object_get_string(value), address)) {
        return " is no MAC address";
    }
    std::memcpy(bytes.data(), address, sizeof address);
    return {};
}

std::string load_number(WritableBytes bytes, bool is_signed, json_object* value) {
    const int64_t wanted = json_object_get_int64(value);
    write_number(bytes, wanted);
    const bool fits =
        json_object_is_type(value, json_type_int) != 0 && read_number(bytes, is_signed) == wanted;
    return fits ? "" : " is no number that fits";
}

std::string load_members(WritableBytes record, std::span<const StateField> members,
                         json_object* object) {
    if (json_object_is_type(object, json_type_object) == 0) {
        return " is no object";
    }
    json_object_object_foreach(object, key, value) {
        const auto member = std::ranges::find_if(
            members, [&](const StateField& row) { return std::strcmp(row.name, key) == 0; });
        const std::string error = member == members.end() ? " is unknown"
                                  : member->derived       ? ""
                                                          : load(record, *member, value);
        if (!error.empty()) {
            return '.' + std::string(key) + error;
        }
    }
    return {};
}

std::string load_list(WritableBytes record, const StateField& field, json_object* array) {
    if (json_object_is_type(array, json_type_array) == 0 ||
        json_object_array_length(array) > field.room) {
        return " is no array that fits";
    }
    const size_t count = json_object_array_length(array);
    write_number(record.subspan(field.count->offset, field.count->size),
                 static_cast<int64_t>(count * field.count_unit));
    if (count_of(record, field) != count) {
        return " has more entries than its count can say";
    }
    for (size_t i = 0; i < count; ++i) {
        const WritableBytes entry = record.subspan(field.offset + i * field.size, field.size);
        json_object* const value = json_object_array_get_idx(array, i);
        const std::string error = is_plain(field) ? load(entry, field.members[0], value)
                                                  : load_members(entry, field.members, value);
        if (!error.empty()) {
            return '[' + std::to_string(i) + ']' + error;
        }
    }
    return {};
}

std::string load(WritableBytes record, const StateField& field, json_object* value) {
    if (field.kind == Kind::list) {
        return load_list(record, field, value);
    }
    const WritableBytes bytes = record.subspan(field.offset, field.size);
    switch (field.kind) {
    case Kind::text: return load_text(bytes, value);
    case Kind::mac: return load_mac(bytes, value);
    case Kind::number:
    case Kind::negative_number:
        return load_number(bytes, field.kind == Kind::negative_number, value);
    case Kind::record: return load_members(bytes, field.members, value);
    case Kind::list: break;
    }
    return {};
}

} // namespace

std::string qv_load_state(AccessPoint& ap, const std::string& path) {
    const JsonPtr root(json_object_from_file(path.c_str()));
    if (root == nullptr) {
        return json_util_get_last_err();
    }
    return load_members(std::as_writable_bytes(std::span(&ap, 1)), ACCESS_POINT_FIELDS, root.get());
}

bool qv_save_state(const AccessPoint& ap, const std::string& path) {
    const std::string fresh = path + ".new";
    const JsonPtr root = members_to_json(std::as_bytes(std::span(&ap, 1)), ACCESS_POINT_FIELDS);
    return json_object_to_file_ext(fresh.c_str(), root.get(), JSON_C_TO_STRING_PRETTY) == 0 &&
           std::rename(fresh.c_str(), path.c_str()) == 0;
}
