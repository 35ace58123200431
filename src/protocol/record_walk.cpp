#include "protocol/record_walk.h"

#include "json/json_field.h"
#include "json/text.h"
#include "platform/log.h"

#include <algorithm>
#include <bit>

namespace {

using Bytes = std::span<const std::byte>;
using WritableBytes = std::span<std::byte>;

/// A number's low bytes, in host byte order.
void set_number(WritableBytes place, uint32_t value) {
    const std::array<uint32_t, 1> whole = {value};
    static_assert(std::endian::native == std::endian::little);
    std::ranges::copy(std::as_bytes(std::span(whole)).first(place.size()), place.begin());
}

std::span<char> text_place(WritableBytes record, const RecordField& field) {
    const WritableBytes bytes = record.subspan(field.offset, field.width);
    return {reinterpret_cast<char*>(bytes.data()), bytes.size()};
}

void set_text(WritableBytes record, const RecordField& field, json_object* value) {
    const char* const text = json_object_get_string(value);
    if (text != nullptr) {
        qv_set_field_text(text_place(record, field),
                          std::string_view(text).substr(0, qv_longest_text(field)));
    }
}

RecordReading read_list(WritableBytes record, const RecordField& field, json_object* array) {
    if (json_object_is_type(array, json_type_array) == 0) {
        return {.outcome = field.required ? RecordReading::incomplete : RecordReading::complete};
    }
    const RecordList& list = *field.special->list;
    const size_t given = json_object_array_length(array);
    if (given > list.room && field.required) {
        return {RecordReading::too_long, &field, given, list.room};
    }
    const size_t count = std::min<size_t>(given, list.room);
    set_number(record.subspan(list.count_offset, list.count_width),
               static_cast<uint32_t>(count * list.count_unit));
    RecordReading reading;
    for (size_t i = 0; i < count && reading.outcome == RecordReading::complete; ++i) {
        reading = qv_json_to_record(json_object_array_get_idx(array, i),
                                    record.subspan(list.first + i * list.stride, list.stride),
                                    list.fields);
        reading.entries = {i, reading.entries[0]};
        ++reading.depth;
    }
    return reading;
}

void set_member(WritableBytes record, const RecordField& field, json_object* value) {
    if (field.special != nullptr && field.special->store != nullptr) {
        field.special->store(record, value);
        return;
    }
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: set_text(record, field, value); break;
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32:
        set_number(record.subspan(field.offset, field.width),
                   static_cast<uint32_t>(json_object_get_int(value)));
        break;
    case RecordFieldType::list: read_list(record, field, value); break;
    case RecordFieldType::mac:
    case RecordFieldType::computed: break;
    }
}

FieldType code_of(RecordFieldType type) {
    switch (type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return FIELD_TYPE_STRING;
    case RecordFieldType::u8: return FIELD_TYPE_UINT8;
    case RecordFieldType::u16: return FIELD_TYPE_UINT16;
    case RecordFieldType::i32: return FIELD_TYPE_INT;
    case RecordFieldType::mac:
    case RecordFieldType::list:
    case RecordFieldType::computed: break;
    }
    return FIELD_TYPE_NONE;
}

/// Lengths are looked at before the typed reader runs, so that it has nothing to say of them.
RecordReading read_required(json_object* object, WritableBytes record, const RecordField& field) {
    json_object* const value = qv_json_member(object, field.key);
    if (field.type == RecordFieldType::list) {
        return read_list(record, field, value);
    }
    FieldDestination destination = record.subspan(field.offset, field.width);
    if (!qv_is_integer(field)) {
        const std::string_view text = qv_json_value_text(value);
        if (!qv_text_fits(text, qv_longest_text(field) + 1)) {
            return {RecordReading::too_long, &field, text.size(), qv_longest_text(field)};
        }
        destination = text_place(record, field);
    }
    const bool stored =
        map_json_field_to_value(object, code_of(field.type), field.key, destination) == 1;
    return {.outcome = stored ? RecordReading::complete : RecordReading::incomplete};
}

void print_field(Bytes record, const RecordField& field) {
    const std::string_view text = qv_record_text(record, field);
    qv_log("%s: %.*s\n", field.label(), static_cast<int>(text.size()), text.data());
}

} // namespace

std::string_view qv_record_text(std::span<const std::byte> record, const RecordField& field) {
    const std::span<const std::byte> bytes = record.subspan(field.offset, field.width);
    return qv_field_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

const uint8_t* qv_record_mac(std::span<const std::byte> record, const RecordField& field) {
    return reinterpret_cast<const uint8_t*>(record.subspan(field.offset, 6).data());
}

uint32_t qv_list_count(std::span<const std::byte> record, const RecordList& list) {
    const Bytes count = record.subspan(list.count_offset, list.count_width);
    switch (list.count_width) {
    case sizeof(uint8_t): return qv_record_of<uint8_t>(count) / list.count_unit;
    case sizeof(uint32_t): return qv_record_of<uint32_t>(count) / list.count_unit;
    default: return list.room;
    }
}

size_t qv_listed(std::span<const std::byte> record, const RecordList& list) {
    return std::min<size_t>(qv_list_count(record, list), list.room);
}

RecordReading qv_json_to_record(json_object* object, std::span<std::byte> record,
                                RecordTable fields) {
    for (const RecordField& field : fields) {
        if (field.required) {
            const RecordReading reading = read_required(object, record, field);
            if (reading.outcome != RecordReading::complete) {
                return reading;
            }
        }
    }
    if (json_object_is_type(object, json_type_object) == 0) {
        return {};
    }
    json_object_object_foreach(object, key, value) {
        const RecordField* const field = qv_find_record_field(fields, key);
        if (field == nullptr || value == nullptr || field->required || !qv_is_settable(*field)) {
            continue;
        }
        set_member(record, *field, value);
        if (field->print_when_set) {
            print_field(record, *field);
        }
    }
    return {};
}

void qv_print_record(std::span<const std::byte> record, RecordTable fields) {
    for (const RecordField& field : fields) {
        if (field.logged) {
            print_field(record, field);
        }
    }
}

const RecordField* qv_find_record_field(RecordTable fields, const char* key) {
    const auto row = std::ranges::find(fields, std::string_view(key), &RecordField::key_text);
    return row == fields.end() ? nullptr : &*row;
}
