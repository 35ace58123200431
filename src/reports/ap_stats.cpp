#include "reports/ap_stats.h"

#include "messages/record_fields.h"
#include "wifimgr/channel.h"

#include <cstdio>

namespace {

using enum RecordFieldType;

const char* status_name(uint8_t status) {
    switch (static_cast<ApStatus>(status)) {
    case AP_STATUS_UP: return "ONLINE";
    case AP_STATUS_DOWN: return "OFFLINE";
    }
    return "";
}

JsonPtr new_status(std::span<const std::byte> record) {
    return JsonPtr(json_object_new_string(status_name(qv_record_of<ApStatsEntry>(record).status)));
}

constexpr RecordField AP_STATS_FIELDS[] = {
    {"channel", u16, QV_RECORD_MEMBER(ApStatsEntry, channel)},
    {"frequency", u16, QV_RECORD_MEMBER(ApStatsEntry, frequency)},
    {"status", computed, QV_RECORD_MEMBER(ApStatsEntry, status), nullptr, new_status},
    {"ssid", text, QV_RECORD_MEMBER(ApStatsEntry, ssid)},
    {"bssid", mac, QV_RECORD_MEMBER(ApStatsEntry, bssid)},
    {"numsta", u16, QV_RECORD_MEMBER(ApStatsEntry, numsta)},
    {"txpower", u8, QV_RECORD_MEMBER(ApStatsEntry, txpower)},
    {"phymode", text, QV_RECORD_MEMBER(ApStatsEntry, phymode)},
    {"ipaddr", text, QV_RECORD_MEMBER(ApStatsEntry, ipaddr)},
    {"parent", text, QV_RECORD_MEMBER(ApStatsEntry, parent)},
    {"ifname", text, QV_RECORD_MEMBER(ApStatsEntry, ifname)},
    {"mode", u16, QV_RECORD_MEMBER(ApStatsEntry, mode)},
    {"bitrate", i32, QV_RECORD_MEMBER(ApStatsEntry, bitrate)},
    {"wifi_signal", u8, QV_RECORD_MEMBER(ApStatsEntry, wifi_signal)},
    {"noise", u8, QV_RECORD_MEMBER(ApStatsEntry, noise)},
    {"country", text, QV_RECORD_MEMBER(ApStatsEntry, country)},
    {"encryption", text, QV_RECORD_MEMBER(ApStatsEntry, encryption)},
};
static_assert(qv_fields_fit(AP_STATS_FIELDS, sizeof(ApStatsEntry)));

} // namespace

int32_t qv_get_ap_stats(ApStatsList& record) {
    if (qv_wifi_mgr_read(WIFI_MGR_GET_AP_STATS, qv_record_bytes(record))) {
        printf("qv_get_ap_stats: Max AP Count: %u\n", static_cast<unsigned>(record.count));
    }
    return 0;
}

int32_t qv_ap_stats_to_json(json_object* array, const ApStatsList& record) {
    qv_append_records(array, record.entries, record.count, AP_STATS_FIELDS);
    return 0;
}
