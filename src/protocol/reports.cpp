#include "protocol/reports.h"

#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

constexpr RecordField DISCOVERY_FIELDS[] = {
    {"macaddr", mac, QV_RECORD_MEMBER(DeviceDiscovery, macaddr, 0)},
};
static_assert(qv_fields_fit(DISCOVERY_FIELDS, sizeof(DeviceDiscovery)));

constexpr RecordField UPDATA_STATS_FIELDS[] = {
    {nullptr, i32, QV_RECORD_MEMBER(UpdataStats, status, 0)},
};
static_assert(qv_field_fits(UPDATA_STATS_FIELDS[0], sizeof(UpdataStats)));

constexpr RecordField MACLIST_STATUS_FIELDS[] = {
    {"uploading_status", i32, QV_RECORD_MEMBER(MacListStatus, uploading_status, 0)},
};
static_assert(qv_fields_fit(MACLIST_STATUS_FIELDS, sizeof(MacListStatus)));

} // namespace

const RecordTable qv_device_discovery_fields = DISCOVERY_FIELDS;
const RecordTable qv_updata_stats_fields = UPDATA_STATS_FIELDS;
const RecordTable qv_maclist_status_fields = MACLIST_STATUS_FIELDS;
