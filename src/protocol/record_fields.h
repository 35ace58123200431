// Records described by constant tables: one row per member says its JSON key, where it stands, what
// fits it, whether a command may or must give it, and what the log shows. Everything that reads,
// writes, checks, offers or describes a record walks its table; see record_walk.h for the walks.
#ifndef QV_PROTOCOL_RECORD_FIELDS_H
#define QV_PROTOCOL_RECORD_FIELDS_H

#include "json/json_scope.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

enum class RecordFieldType : uint8_t {
    text,            ///< of fixed width, which it may fill to the last byte: a JSON string
    terminated_text, ///< likewise, with room for its NUL
    mac,             ///< six bytes, a JSON string
    u8,              ///< a JSON integer, as the two below
    u16,             ///< host byte order, as all integers here
    i32,
    list,     ///< a JSON array
    computed, ///< made from the whole record, and stored in it, by the row's own functions
};

struct RecordSpecial;

struct RecordField {
    template <size_t size>
    constexpr RecordField(const char (&json_key)[size], RecordFieldType field_type, uint16_t place,
                          uint16_t bytes, const char* log_label = nullptr,
                          const RecordSpecial* own = nullptr)
        : key_length(size - 1), type(field_type), offset(place), width(bytes),
          logged(log_label != nullptr), special(own) {
        if (logged && std::string_view(log_label) != json_key) {
            other_label = log_label;
        }
        static_assert(size <= sizeof key);
        std::copy_n(json_key, size, key);
    }

    /// The one value of a record or an entry that is no object.
    constexpr RecordField(std::nullptr_t, RecordFieldType field_type, uint16_t place,
                          uint16_t bytes)
        : type(field_type), offset(place), width(bytes) {}

    constexpr std::string_view key_text() const {
        return {key, key_length};
    }

    constexpr bool has_key() const {
        return key_length > 0;
    }

    /// What the log shows before the text; none keeps the field out of it.
    constexpr const char* label() const {
        return !logged ? nullptr : other_label == nullptr ? key : other_label;
    }

    char key[20] = {}; ///< JSON key; here and not elsewhere, because reports copy it so often
    uint8_t key_length = 0;
    RecordFieldType type;
    uint16_t offset; ///< in the record, in bytes
    uint16_t width;
    bool required : 1 = false; ///< a command that leaves it out is not read further
    bool logged : 1 = false;
    bool print_when_set : 1 = false;        ///< also, by qv_json_to_record, as soon as it is set
    const char* other_label = nullptr;      ///< than the key
    const RecordSpecial* special = nullptr; ///< of a list and of a computed row
};

/// The rows of a record, in the order of a report.
using RecordTable = std::span<const RecordField>;

/// A list in a record. Places and sizes in bytes.
struct RecordList {
    /// Of an entry. One row without key: an entry is that value alone.
    RecordTable fields;
    uint16_t first; ///< place of the first entry
    uint16_t stride;
    uint16_t room;                   ///< entries
    uint16_t count_offset = 0;       ///< of the number that says how many entries are in use
    uint16_t count_width = 0;        ///< 0: nothing says it
    uint16_t count_unit = 1;         ///< what that number grows by with each entry
    bool reported_only = false;      ///< no command sets it
    bool shown_empty = true;         ///< else a report leaves it out when it is empty
    uint32_t shown_max = UINT32_MAX; ///< entries; a report leaves out what counts more
};

/// Bytes of a computed row's text.
inline constexpr size_t COMPUTED_TEXT_MAX = 8;

/// What a row does of its own.
struct RecordSpecial {
    const RecordList* list = nullptr;
    /// The value in a report, a text: constant, or in the record. Cut at COMPUTED_TEXT_MAX.
    std::string_view (*compute)(std::span<const std::byte> record) = nullptr;
    /// Stores a value that is not null; of a computed row that no command sets there is none.
    void (*store)(std::span<std::byte> record, json_object* value) = nullptr;
};

/// Offset and width of a member, for a table row. `place` is the offset that the layout demands.
#define QV_RECORD_MEMBER(Record, member, place)                                                    \
    qv_place<offsetof(Record, member), place>(), sizeof(Record::member)
template <size_t actual, size_t demanded>
consteval uint16_t qv_place() {
    static_assert(actual == demanded, "the member does not stand where it must");
    return demanded;
}

/// A list that fills a member, counted by another one.
#define QV_RECORD_LIST(Record, member, place, count, count_place, fields)                          \
    fields, qv_place<offsetof(Record, member), place>(), sizeof(Record::member[0]),                \
        std::extent_v<decltype(Record::member)>, QV_RECORD_MEMBER(Record, count, count_place)

constexpr RecordField qv_required(RecordField field) {
    field.required = true;
    return field;
}

/// Printed as soon as a command sets it.
constexpr RecordField qv_printed(RecordField field) {
    field.print_when_set = true;
    return field;
}

/// Whether a command may set the row. Everybody asks this: what stores a member, what offers it,
/// what checks it and what describes it.
constexpr bool qv_is_settable(const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text:
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return true;
    case RecordFieldType::list: return !field.special->list->reported_only;
    case RecordFieldType::computed: return field.special->store != nullptr;
    case RecordFieldType::mac: break;
    }
    return false;
}

constexpr bool qv_is_integer(const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return true;
    case RecordFieldType::text:
    case RecordFieldType::terminated_text:
    case RecordFieldType::mac:
    case RecordFieldType::list:
    case RecordFieldType::computed: break;
    }
    return false;
}

/// The smallest and the largest number that a row of an integer holds.
struct IntegerRange {
    int64_t lowest;
    int64_t highest;
};
constexpr IntegerRange qv_integer_range(const RecordField& field) {
    const int64_t values = int64_t{1} << (8 * field.width);
    return field.type == RecordFieldType::i32 ? IntegerRange{-values / 2, values / 2 - 1}
                                              : IntegerRange{0, values - 1};
}

/// Longest text that a row of a text holds, in bytes.
constexpr size_t qv_longest_text(const RecordField& field) {
    return field.type == RecordFieldType::terminated_text ? field.width - size_t{1} : field.width;
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

#endif
