#include "protocol/record_fields.h"

#include "json/mac_text.h"
#include "json/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

template <class T>
T number_of(std::span<const std::byte> record, const RecordField& field) {
    T value;
    memcpy(&value, record.subspan(field.offset, sizeof value).data(), sizeof value);
    return value;
}

JsonPtr new_mac(std::span<const std::byte> record, const RecordField& field) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, qv_record_mac(record, field));
    return JsonPtr(json_object_new_string(text));
}

JsonPtr new_member(std::span<const std::byte> record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text: return qv_json_new_text(qv_record_text(record, field));
    case RecordFieldType::mac: return new_mac(record, field);
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32:
        return JsonPtr(json_object_new_int(qv_record_integer(record, field)));
    case RecordFieldType::computed: return field.compute(record);
    }
    return nullptr;
}

template <class T>
void set_number(std::span<std::byte> record, const RecordField& field, json_object* value) {
    const auto number = static_cast<T>(json_object_get_int(value));
    memcpy(record.subspan(field.offset, sizeof number).data(), &number, sizeof number);
}

void set_member(std::span<std::byte> record, const RecordField& field, json_object* value) {
    switch (field.type) {
    case RecordFieldType::text: qv_set_record_text(record, field, value); break;
    case RecordFieldType::u8: set_number<uint8_t>(record, field, value); break;
    case RecordFieldType::u16: set_number<uint16_t>(record, field, value); break;
    case RecordFieldType::i32: set_number<int32_t>(record, field, value); break;
    case RecordFieldType::computed: field.store(record, value); break;
    case RecordFieldType::mac: break;
    }
}

void print_field(std::span<const std::byte> record, const RecordField& field) {
    const std::string_view text = qv_record_text(record, field);
    printf("%s: %.*s\n", field.label, static_cast<int>(text.size()), text.data());
}

} // namespace

std::string_view qv_record_text(std::span<const std::byte> record, const RecordField& field) {
    const std::span<const std::byte> bytes = record.subspan(field.offset, field.width);
    return qv_field_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

const uint8_t* qv_record_mac(std::span<const std::byte> record, const RecordField& field) {
    return reinterpret_cast<const uint8_t*>(record.subspan(field.offset, 6).data());
}

int32_t qv_record_integer(std::span<const std::byte> record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::u8: return number_of<uint8_t>(record, field);
    case RecordFieldType::u16: return number_of<uint16_t>(record, field);
    case RecordFieldType::i32: return number_of<int32_t>(record, field);
    case RecordFieldType::text:
    case RecordFieldType::mac:
    case RecordFieldType::computed: break;
    }
    return 0;
}

bool qv_record_to_json(json_object* object, std::span<const std::byte> record,
                       std::span<const RecordField> fields) {
    return std::ranges::all_of(fields, [&](const RecordField& field) {
        return qv_json_add(object, field.key, new_member(record, field));
    });
}

void qv_set_record_text(std::span<std::byte> record, const RecordField& field, json_object* value) {
    const char* const text = json_object_get_string(value);
    if (text != nullptr) {
        const std::span<std::byte> bytes = record.subspan(field.offset, field.width);
        qv_set_field_text({reinterpret_cast<char*>(bytes.data()), bytes.size()}, text);
    }
}

const RecordField* qv_find_record_field(std::span<const RecordField> fields, const char* key) {
    const auto row = std::ranges::find_if(
        fields, [key](const RecordField& field) { return strcmp(field.key, key) == 0; });
    return row == fields.end() ? nullptr : &*row;
}

void qv_json_to_record(json_object* object, std::span<std::byte> record,
                       std::span<const RecordField> fields) {
    if (json_object_is_type(object, json_type_object) == 0) {
        return;
    }
    json_object_object_foreach(object, key, value) {
        const RecordField* const field = qv_find_record_field(fields, key);
        if (field == nullptr || value == nullptr || !qv_is_settable(*field)) {
            continue;
        }
        set_member(record, *field, value);
        if (field->print_when_set) {
            print_field(record, *field);
        }
    }
}

void qv_print_record(std::span<const std::byte> record, std::span<const RecordField> fields) {
    for (const RecordField& field : fields) {
        if (field.label != nullptr) {
            print_field(record, field);
        }
    }
}
