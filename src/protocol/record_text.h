// Records whose JSON text is all that anybody wants of them.
#ifndef QV_PROTOCOL_RECORD_TEXT_H
#define QV_PROTOCOL_RECORD_TEXT_H

#include "json/json_scope.h"

#include <cstddef>
#include <cstdint>
#include <span>

struct RecordField;

/// Appends records of `entry_size` bytes each to the array, as one element that prints as all of
/// them, to the last character what the objects that qv_record_to_json fills would print as in
/// json-c's default form. The element can only be printed, not counted or looked into.
/// (Objects are built member by member, printed once and taken apart again: for a list of hundreds
/// of records that costs more than everything else in a report.) Returns the number of records;
/// ends early when memory is out.
int32_t qv_append_record_text(json_object* array, std::span<const std::byte> entries,
                              size_t entry_size, std::span<const RecordField> fields);

#endif
