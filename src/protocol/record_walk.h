// The walks over a table: JSON to record, record to JSON text, record to log lines.
#ifndef QV_PROTOCOL_RECORD_WALK_H
#define QV_PROTOCOL_RECORD_WALK_H

#include "protocol/record_fields.h"

#include <array>
#include <string_view>

/// What the record holds in a row of the type that the name says: text up to its first NUL or the
/// field's width, the six bytes of a MAC address, an integer. All but the integer lie in the
/// record.
std::string_view qv_record_text(std::span<const std::byte> record, const RecordField& field);
const uint8_t* qv_record_mac(std::span<const std::byte> record, const RecordField& field);
inline int32_t qv_record_integer(std::span<const std::byte> record, const RecordField& field) {
    const std::span<const std::byte> bytes = record.subspan(field.offset, field.width);
    switch (field.width) {
    case sizeof(uint8_t): return qv_record_of<uint8_t>(bytes);
    case sizeof(uint16_t): return qv_record_of<uint16_t>(bytes);
    default: return qv_record_of<int32_t>(bytes);
    }
}

/// Entries in use as the list's count says, which may be anything.
uint32_t qv_list_count(std::span<const std::byte> record, const RecordList& list);

/// As many of them as there is room for.
size_t qv_listed(std::span<const std::byte> record, const RecordList& list);

/// How far a command's members were read.
struct RecordReading {
    enum Outcome : uint8_t {
        complete,
        incomplete, ///< a required member is missing: it and what follows it were not read
        too_long,   ///< so is a required member: a text (qv_text_fits), or a list
    };
    Outcome outcome = complete;
    const RecordField* field = nullptr; ///< that is too long
    size_t length = 0;                  ///< its bytes or entries
    size_t limit = 0;
    size_t depth = 0;                ///< lists around it
    std::array<size_t, 2> entries{}; ///< which entry of each, from the outermost on
};

/// Stores the members of the object that settable rows name. First the required ones, in the order
/// of the table, up to the first that is missing, which is printed as one line, or too long. Then
/// the others, in the object's order: null and unknown members are ignored, and what is too long
/// is cut. A value that is no text is stored in a text as its JSON text; integers convert as json-c
/// does, and narrow ones keep the low bits.
RecordReading qv_json_to_record(json_object* object, std::span<std::byte> record,
                                RecordTable fields);

/// Most bytes of what the two below write, for this record.
size_t qv_record_room(RecordTable fields);
size_t qv_list_room(std::span<const std::byte> record, const RecordList& list);

/// Writes a JSON object of one member per row, or the value of a row without key; and an array of
/// one value per entry; in the order of the table. As the functions of json_text.h, and written
/// with them, because a report of hundreds of records would take ten times as long by way of
/// json-c's objects, which are built, printed once and taken apart again.
char* qv_put_record(char* out, std::span<const std::byte> record, RecordTable fields);
char* qv_put_list(char* out, std::span<const std::byte> record, const RecordList& list);

/// Prints "label: text" for every row with a label, in the order of the table.
void qv_print_record(std::span<const std::byte> record, RecordTable fields);

/// The row of that key, or none. Keys are case-sensitive.
const RecordField* qv_find_record_field(RecordTable fields, const char* key);

#endif
