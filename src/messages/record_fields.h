// Records of the wifi manager described by constant tables, and the generic walks over such a
// table: record to JSON, JSON to record, record to log lines. A new field is one row.
#ifndef QV_MESSAGES_RECORD_FIELDS_H
#define QV_MESSAGES_RECORD_FIELDS_H

#include "messages/json_scope.h"

#include <cstddef>
#include <cstdint>
#include <span>

enum class RecordFieldType : uint8_t {
    text, ///< fixed-width text, a JSON string
    mac,  ///< six bytes, a JSON string
    u8,   ///< a JSON integer, as the two below
    u16,  ///< host byte order, as all integers here
    i32,
    computed, ///< made from the whole record by the row's own function
};

struct RecordField {
    const char* key; ///< JSON key
    RecordFieldType type;
    uint16_t offset; ///< in the record, in bytes
    uint16_t width;
    const char* label = nullptr; ///< before the value in the log; none keeps the field out of it
    JsonPtr (*compute)(std::span<const std::byte> record) = nullptr;
};

/// Offset and width of a member, for a table row.
#define QV_RECORD_MEMBER(Record, member) offsetof(Record, member), sizeof(Record::member)

/// The bytes of one record.
template <class Record>
std::span<const std::byte> qv_record_bytes(const Record& record) {
    return std::as_bytes(std::span(&record, 1));
}
template <class Record>
std::span<std::byte> qv_record_bytes(Record& record) {
    return std::as_writable_bytes(std::span(&record, 1));
}

/// Adds one member per row, in the order of the table. False, keeping the members added so far,
/// when memory is out.
bool qv_record_to_json(json_object* object, std::span<const std::byte> record,
                       std::span<const RecordField> fields);

/// Appends to the array an object made by qv_record_to_json. False, with the array unchanged,
/// when memory is out.
bool qv_append_record(json_object* array, std::span<const std::byte> record,
                      std::span<const RecordField> fields);

/// Stores a value in a text field: a string as it is, null not at all, any other value as its
/// JSON text; cut to the field's width, NUL-filled behind a shorter text.
void qv_set_record_text(std::span<std::byte> record, const RecordField& field, json_object* value);

/// The row of that key, or none. Keys are case-sensitive.
const RecordField* qv_find_record_field(std::span<const RecordField> fields, const char* key);

/// Stores every member of the object that a text row names, in the object's order; other members
/// are ignored. Does nothing when `object` is no JSON object.
void qv_json_to_record(json_object* object, std::span<std::byte> record,
                       std::span<const RecordField> fields);

/// Prints "label: text" for every text row with a label, in the order of the table.
void qv_print_record(std::span<const std::byte> record, std::span<const RecordField> fields);

#endif
