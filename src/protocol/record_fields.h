// Records of the wifi manager described by constant tables, and the generic walks over such a
// table: record to JSON, JSON to record, record to log lines. A new field is one row.
#ifndef QV_PROTOCOL_RECORD_FIELDS_H
#define QV_PROTOCOL_RECORD_FIELDS_H

#include "protocol/record_text.h"
#include "json/json_scope.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

enum class RecordFieldType : uint8_t {
    text, ///< fixed-width text, a JSON string
    mac,  ///< six bytes, a JSON string
    u8,   ///< a JSON integer, as the two below
    u16,  ///< host byte order, as all integers here
    i32,
    computed, ///< made from the whole record, and stored in it, by the row's own functions
};

struct RecordField {
    const char* key; ///< JSON key
    RecordFieldType type;
    uint16_t offset; ///< in the record, in bytes
    uint16_t width;
    const char* label = nullptr; ///< before the text in the log; none keeps the field out of it
    JsonPtr (*compute)(std::span<const std::byte> record) = nullptr;
    /// Stores a value that is not null; none for a computed row that no command sets.
    void (*store)(std::span<std::byte> record, json_object* value) = nullptr;
    bool print_when_set = false; ///< whether qv_json_to_record prints the row, which has a label
};

/// Offset and width of a member, for a table row.
#define QV_RECORD_MEMBER(Record, member) offsetof(Record, member), sizeof(Record::member)

/// Whether every row lies within a record of that size and is as wide as its type; for a
/// static_assert under the table.
consteval bool qv_fields_fit(std::span<const RecordField> fields, size_t record_size) {
    return std::ranges::all_of(fields, [record_size](const RecordField& field) {
        bool width_fits = true;
        switch (field.type) {
        case RecordFieldType::mac: width_fits = field.width == 6; break;
        case RecordFieldType::u8: width_fits = field.width == 1; break;
        case RecordFieldType::u16: width_fits = field.width == 2; break;
        case RecordFieldType::i32: width_fits = field.width == 4; break;
        case RecordFieldType::text:
        case RecordFieldType::computed: break;
        }
        return width_fits && size_t{field.offset} + field.width <= record_size;
    });
}

/// Whether a command may set the row. Everybody asks this: what stores a member, what offers it and
/// what describes it.
constexpr bool qv_is_settable(const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return true;
    case RecordFieldType::computed: return field.store != nullptr;
    case RecordFieldType::mac: break;
    }
    return false;
}

/// Whether the row is an integer, and the smallest and the largest that it holds.
struct IntegerRange {
    int64_t lowest = 0;
    int64_t highest = 0;
};
constexpr bool qv_is_integer(const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return true;
    case RecordFieldType::text:
    case RecordFieldType::mac:
    case RecordFieldType::computed: break;
    }
    return false;
}
constexpr IntegerRange qv_integer_range(const RecordField& field) {
    const int64_t values = int64_t{1} << (8 * field.width);
    return field.type == RecordFieldType::i32 ? IntegerRange{-values / 2, values / 2 - 1}
                                              : IntegerRange{0, values - 1};
}

/// Longest text that a command may give a row that is no integer, in bytes; what is longer is cut.
constexpr size_t qv_longest_text(const RecordField& field) {
    return field.width;
}

/// Whether a table is one of settings: a command may set every row, except those that are made from
/// the others and only reported. For a static_assert under the table.
consteval bool qv_fields_settable(std::span<const RecordField> fields) {
    return std::ranges::all_of(fields, [](const RecordField& field) {
        return qv_is_settable(field) || field.type == RecordFieldType::computed;
    });
}

/// The bytes of one record.
template <class Record>
std::span<const std::byte> qv_record_bytes(const Record& record) {
    return std::as_bytes(std::span(&record, 1));
}
template <class Record>
std::span<std::byte> qv_record_bytes(Record& record) {
    return std::as_writable_bytes(std::span(&record, 1));
}

/// The record in these bytes.
template <class Record>
requires std::is_trivially_copyable_v<Record>
    Record qv_record_of(std::span<const std::byte> bytes) {
    Record record;
    memcpy(&record, bytes.first(sizeof record).data(), sizeof record);
    return record;
}

/// What the record holds in a row of the type that the name says: text up to its first NUL or the
/// field's width, the six bytes of a MAC address, an integer. All but the integer lie in the
/// record.
std::string_view qv_record_text(std::span<const std::byte> record, const RecordField& field);
const uint8_t* qv_record_mac(std::span<const std::byte> record, const RecordField& field);
int32_t qv_record_integer(std::span<const std::byte> record, const RecordField& field);

/// Adds one member per row, in the order of the table. False, keeping the members added so far,
/// when memory is out.
bool qv_record_to_json(json_object* object, std::span<const std::byte> record,
                       std::span<const RecordField> fields);

/// The first `count` entries, or all of them when the count says more than there is room for.
template <class Entry, size_t room>
std::span<const Entry> qv_listed(const Entry (&entries)[room], size_t count) {
    return std::span(entries).first(std::min(count, room));
}

/// Appends the listed entries to the array; see qv_append_record_text. Returns their number.
template <class Entry, size_t room>
int32_t qv_append_records(json_object* array, const Entry (&entries)[room], size_t count,
                          std::span<const RecordField> fields) {
    return qv_append_record_text(array, std::as_bytes(qv_listed(entries, count)), sizeof(Entry),
                                 fields);
}

/// Stores a value in a text field: a string as it is, null not at all, any other value as its
/// JSON text; cut to the field's width, NUL-filled behind a shorter text.
void qv_set_record_text(std::span<std::byte> record, const RecordField& field, json_object* value);

/// The row of that key, or none. Keys are case-sensitive.
const RecordField* qv_find_record_field(std::span<const RecordField> fields, const char* key);

/// Stores every member of the object that a settable row names, in the object's order; null and
/// other members are ignored. Integers convert as json-c does, and narrow ones keep the low bits.
/// Does nothing when `object` is no JSON object.
void qv_json_to_record(json_object* object, std::span<std::byte> record,
                       std::span<const RecordField> fields);

/// Prints "label: text" for every row with a label, in the order of the table.
void qv_print_record(std::span<const std::byte> record, std::span<const RecordField> fields);

#endif
