#include "reports/interface_stats.h"

#include "messages/record_fields.h"
#include "wifimgr/channel.h"

namespace {

using enum RecordFieldType;

constexpr RecordField INTERFACE_STATS_FIELDS[] = {
    {"ifname", text, QV_RECORD_MEMBER(InterfaceStatsEntry, ifname)},
    {"rx_bytes", text, QV_RECORD_MEMBER(InterfaceStatsEntry, rx_bytes)},
    {"tx_bytes", text, QV_RECORD_MEMBER(InterfaceStatsEntry, tx_bytes)},
    {"rx_packets", text, QV_RECORD_MEMBER(InterfaceStatsEntry, rx_packets)},
    {"tx_packets", text, QV_RECORD_MEMBER(InterfaceStatsEntry, tx_packets)},
    {"macaddr", text, QV_RECORD_MEMBER(InterfaceStatsEntry, macaddr)},
    {"ipaddr", text, QV_RECORD_MEMBER(InterfaceStatsEntry, ipaddr)},
};
static_assert(qv_fields_fit(INTERFACE_STATS_FIELDS, sizeof(InterfaceStatsEntry)));

} // namespace

int32_t qv_get_interface_stats(InterfaceStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_INTERFACE_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_interface_stats_to_json(json_object* array, const InterfaceStatsList& record) {
    qv_append_records(array, record.entries, record.count, INTERFACE_STATS_FIELDS);
    return 0;
}
