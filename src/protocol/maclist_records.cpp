#include "protocol/maclist_records.h"

#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

constexpr RecordField MACLIST_FIELDS[] = {
    {"maclist_size", i32, QV_RECORD_MEMBER(MacListControl, maclist_size, 0)},
    {"wifi0Flag", i32, QV_RECORD_MEMBER(MacListControl, wifi0Flag, 4)},
    {"wifi1Flag", i32, QV_RECORD_MEMBER(MacListControl, wifi1Flag, 8)},
};
static_assert(qv_settings_fit(MACLIST_FIELDS, sizeof(MacListControl)));

} // namespace

const RecordTable qv_maclist_fields = MACLIST_FIELDS;
