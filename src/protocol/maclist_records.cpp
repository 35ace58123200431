#include "protocol/maclist_records.h"

namespace {

using enum RecordFieldType;

constexpr RecordField MACLIST_FIELDS[] = {
    {"maclist_size", i32, QV_RECORD_MEMBER(MacListControl, maclist_size)},
    {"wifi0Flag", i32, QV_RECORD_MEMBER(MacListControl, wifi0Flag)},
    {"wifi1Flag", i32, QV_RECORD_MEMBER(MacListControl, wifi1Flag)},
};
static_assert(qv_fields_fit(MACLIST_FIELDS, sizeof(MacListControl)) &&
              qv_fields_settable(MACLIST_FIELDS));

} // namespace

const std::span<const RecordField> qv_maclist_fields = MACLIST_FIELDS;
