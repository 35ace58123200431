#include "protocol/statistics_records.h"

namespace {

using enum RecordFieldType;

constexpr RecordField SYSTEM_STATS_FIELDS[] = {
    {"hw_name", text, QV_RECORD_MEMBER(SystemStats, hw_name)},
    {"fwinfo", text, QV_RECORD_MEMBER(SystemStats, fwinfo)},
    {"hostname", text, QV_RECORD_MEMBER(SystemStats, hostname)},
    {"cpu_usage", i32, QV_RECORD_MEMBER(SystemStats, cpu_usage)},
    {"max_memory", i32, QV_RECORD_MEMBER(SystemStats, max_memory)},
    {"max_memory_used", i32, QV_RECORD_MEMBER(SystemStats, max_memory_used)},
    {"max_disk_space", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space)},
    {"max_disk_space_used", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space_used)},
    {"uptime", i32, QV_RECORD_MEMBER(SystemStats, uptime)},
    {"model", text, QV_RECORD_MEMBER(SystemStats, model)},
    {"kernel_version", text, QV_RECORD_MEMBER(SystemStats, kernel_version)},
    {"loadavg", text, QV_RECORD_MEMBER(SystemStats, loadavg)},
    {"equipment_notes", text, QV_RECORD_MEMBER(SystemStats, equipment_notes)},
};
static_assert(qv_fields_fit(SYSTEM_STATS_FIELDS, sizeof(SystemStats)));

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

constexpr RecordField RADIO_STATS_FIELDS[] = {
    {"radio_name", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_name)},
    {"radio_id", u8, QV_RECORD_MEMBER(RadioStatsEntry, radio_id)},
    {"channel", u16, QV_RECORD_MEMBER(RadioStatsEntry, channel)},
    {"radio_type", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_type)},
    {"band", u8, QV_RECORD_MEMBER(RadioStatsEntry, band)},
    {"num_vaps", u8, QV_RECORD_MEMBER(RadioStatsEntry, num_vaps)},
};
static_assert(qv_fields_fit(RADIO_STATS_FIELDS, sizeof(RadioStatsEntry)));

} // namespace

const std::span<const RecordField> qv_system_stats_fields = SYSTEM_STATS_FIELDS;
const std::span<const RecordField> qv_sta_stats_fields = STA_STATS_FIELDS;
const std::span<const RecordField> qv_ap_stats_fields = AP_STATS_FIELDS;
const std::span<const RecordField> qv_interface_stats_fields = INTERFACE_STATS_FIELDS;
const std::span<const RecordField> qv_radio_stats_fields = RADIO_STATS_FIELDS;
