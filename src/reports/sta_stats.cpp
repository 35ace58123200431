#include "reports/sta_stats.h"

#include "messages/record_fields.h"
#include "wifimgr/channel.h"

namespace {

using enum RecordFieldType;

constexpr RecordField STA_STATS_FIELDS[] = {
    {"macaddr", mac, QV_RECORD_MEMBER(StaStatsEntry, macaddr)},
    {"bssid", mac, QV_RECORD_MEMBER(StaStatsEntry, bssid)},
    {"channel", u16, QV_RECORD_MEMBER(StaStatsEntry, channel)},
    {"txrate", i32, QV_RECORD_MEMBER(StaStatsEntry, txrate)},
    {"rxrate", i32, QV_RECORD_MEMBER(StaStatsEntry, rxrate)},
    {"uptime", i32, QV_RECORD_MEMBER(StaStatsEntry, uptime)},
    {"txpower", u16, QV_RECORD_MEMBER(StaStatsEntry, txpower)},
    {"rssi", i32, QV_RECORD_MEMBER(StaStatsEntry, rssi)},
};
static_assert(qv_fields_fit(STA_STATS_FIELDS, sizeof(StaStatsEntry)));

} // namespace

int32_t qv_get_sta_stats(StaStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_STA_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_sta_stats_to_json(json_object* array, const StaStatsList& record) {
    qv_append_records(array, record.entries, record.count, STA_STATS_FIELDS);
    return 0;
}
