// The access point's state as constant tables, one row per member, named as in its record. The
// walks of state_json.h know no member by name.
#ifndef QV_SIMULATOR_STATE_FIELDS_H
#define QV_SIMULATOR_STATE_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <span>

enum class StateFieldKind : uint8_t {
    text,            ///< of fixed width: a JSON string
    mac,             ///< six bytes: a JSON string
    number,          ///< unsigned, 1 to 4 bytes: a JSON integer
    negative_number, ///< signed, likewise
    record,          ///< a JSON object
    list,            ///< a JSON array of as many entries as its count says
};

/// All sizes and offsets in bytes, offsets from the start of the record around.
struct StateField {
    const char* name; ///< none for entries of a list that are no records
    StateFieldKind kind;
    size_t offset;
    size_t size;                              ///< of a list: of one entry
    std::span<const StateField> members = {}; ///< of a record, or of a list's entries
    size_t room = 0;                          ///< of a list: entries
    const StateField* count = nullptr;        ///< of a list: where its count stands
    size_t count_unit = 1;                    ///< what the count grows by with each entry
    bool derived = false;                     ///< follows from other members
};

/// The members of an AccessPoint.
extern const std::span<const StateField> ACCESS_POINT_FIELDS;

/// The members of a VapRecord.
extern const std::span<const StateField> VAP_FIELDS;

#endif
