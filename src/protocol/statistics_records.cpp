#include "protocol/statistics_records.h"

#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

constexpr RecordField SYSTEM_STATS_FIELDS[] = {
    {"hw_name", text, QV_RECORD_MEMBER(SystemStats, hw_name, 0)},
    {"fwinfo", text, QV_RECORD_MEMBER(SystemStats, fwinfo, 64)},
    {"hostname", text, QV_RECORD_MEMBER(SystemStats, hostname, 128)},
    {"cpu_usage", i32, QV_RECORD_MEMBER(SystemStats, cpu_usage, 448)},
    {"max_memory", i32, QV_RECORD_MEMBER(SystemStats, max_memory, 452)},
    {"max_memory_used", i32, QV_RECORD_MEMBER(SystemStats, max_memory_used, 456)},
    {"max_disk_space", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space, 460)},
    {"max_disk_space_used", i32, QV_RECORD_MEMBER(SystemStats, max_disk_space_used, 464)},
    {"uptime", i32, QV_RECORD_MEMBER(SystemStats, uptime, 468)},
    {"model", text, QV_RECORD_MEMBER(SystemStats, model, 192)},
    {"kernel_version", text, QV_RECORD_MEMBER(SystemStats, kernel_version, 256)},
    {"loadavg", text, QV_RECORD_MEMBER(SystemStats, loadavg, 320)},
    {"equipment_notes", text, QV_RECORD_MEMBER(SystemStats, equipment_notes, 384)},
};
static_assert(qv_fields_fit(SYSTEM_STATS_FIELDS, sizeof(SystemStats)));

constexpr RecordField STA_STATS_FIELDS[] = {
    {"macaddr", mac, QV_RECORD_MEMBER(StaStatsEntry, macaddr, 0)},
    {"bssid", mac, QV_RECORD_MEMBER(StaStatsEntry, bssid, 6)},
    {"channel", u16, QV_RECORD_MEMBER(StaStatsEntry, channel, 16)},
    {"txrate", i32, QV_RECORD_MEMBER(StaStatsEntry, txrate, 20)},
    {"rxrate", i32, QV_RECORD_MEMBER(StaStatsEntry, rxrate, 24)},
    {"uptime", i32, QV_RECORD_MEMBER(StaStatsEntry, uptime, 28)},
    {"txpower", u16, QV_RECORD_MEMBER(StaStatsEntry, txpower, 32)},
    {"rssi", i32, QV_RECORD_MEMBER(StaStatsEntry, rssi, 12)},
};
static_assert(qv_fields_fit(STA_STATS_FIELDS, sizeof(StaStatsEntry)));

std::string_view status_name(std::span<const std::byte> record) {
    switch (static_cast<ApStatus>(record[offsetof(ApStatsEntry, status)])) {
    case AP_STATUS_UP: return "ONLINE";
    case AP_STATUS_DOWN: return "OFFLINE";
    }
    return "";
}

constexpr RecordSpecial STATUS = {.compute = status_name};
constexpr RecordField AP_STATS_FIELDS[] = {
    {"channel", u16, QV_RECORD_MEMBER(ApStatsEntry, channel, 0)},
    {"frequency", u16, QV_RECORD_MEMBER(ApStatsEntry, frequency, 2)},
    {"status", computed, QV_RECORD_MEMBER(ApStatsEntry, status, 4), nullptr, &STATUS},
    {"ssid", text, QV_RECORD_MEMBER(ApStatsEntry, ssid, 30)},
    {"bssid", mac, QV_RECORD_MEMBER(ApStatsEntry, bssid, 24)},
    {"numsta", u16, QV_RECORD_MEMBER(ApStatsEntry, numsta, 64)},
    {"txpower", u8, QV_RECORD_MEMBER(ApStatsEntry, txpower, 66)},
    {"phymode", text, QV_RECORD_MEMBER(ApStatsEntry, phymode, 5)},
    {"ipaddr", text, QV_RECORD_MEMBER(ApStatsEntry, ipaddr, 106)},
    {"parent", text, QV_RECORD_MEMBER(ApStatsEntry, parent, 163)},
    {"ifname", text, QV_RECORD_MEMBER(ApStatsEntry, ifname, 130)},
    {"mode", u16, QV_RECORD_MEMBER(ApStatsEntry, mode, 22)},
    {"bitrate", i32, QV_RECORD_MEMBER(ApStatsEntry, bitrate, 68)},
    {"wifi_signal", u8, QV_RECORD_MEMBER(ApStatsEntry, wifi_signal, 72)},
    {"noise", u8, QV_RECORD_MEMBER(ApStatsEntry, noise, 73)},
    {"country", text, QV_RECORD_MEMBER(ApStatsEntry, country, 74)},
    {"encryption", text, QV_RECORD_MEMBER(ApStatsEntry, encryption, 196)},
};
static_assert(qv_fields_fit(AP_STATS_FIELDS, sizeof(ApStatsEntry)));

constexpr RecordField INTERFACE_STATS_FIELDS[] = {
    {"ifname", text, QV_RECORD_MEMBER(InterfaceStatsEntry, ifname, 0)},
    {"rx_bytes", text, QV_RECORD_MEMBER(InterfaceStatsEntry, rx_bytes, 52)},
    {"tx_bytes", text, QV_RECORD_MEMBER(InterfaceStatsEntry, tx_bytes, 84)},
    {"rx_packets", text, QV_RECORD_MEMBER(InterfaceStatsEntry, rx_packets, 116)},
    {"tx_packets", text, QV_RECORD_MEMBER(InterfaceStatsEntry, tx_packets, 148)},
    {"macaddr", text, QV_RECORD_MEMBER(InterfaceStatsEntry, macaddr, 32)},
    {"ipaddr", text, QV_RECORD_MEMBER(InterfaceStatsEntry, ipaddr, 180)},
};
static_assert(qv_fields_fit(INTERFACE_STATS_FIELDS, sizeof(InterfaceStatsEntry)));

constexpr RecordField RADIO_STATS_FIELDS[] = {
    {"radio_name", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_name, 0)},
    {"radio_id", u8, QV_RECORD_MEMBER(RadioStatsEntry, radio_id, 10)},
    {"channel", u16, QV_RECORD_MEMBER(RadioStatsEntry, channel, 12)},
    {"radio_type", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_type, 16)},
    {"band", u8, QV_RECORD_MEMBER(RadioStatsEntry, band, 14)},
    {"num_vaps", u8, QV_RECORD_MEMBER(RadioStatsEntry, num_vaps, 15)},
};
static_assert(qv_fields_fit(RADIO_STATS_FIELDS, sizeof(RadioStatsEntry)));

constexpr RecordList STATIONS = {
    QV_RECORD_LIST(StaStatsList, entries, 4, count, 0, STA_STATS_FIELDS)};
constexpr RecordList APS = {QV_RECORD_LIST(ApStatsList, entries, 4, count, 0, AP_STATS_FIELDS)};
constexpr RecordList INTERFACES = {
    QV_RECORD_LIST(InterfaceStatsList, entries, 1, count, 0, INTERFACE_STATS_FIELDS)};
constexpr RecordList RADIOS = {
    QV_RECORD_LIST(RadioStatsList, entries, 2, count, 0, RADIO_STATS_FIELDS)};
static_assert(qv_list_fits(STATIONS, sizeof(StaStatsList)) &&
              qv_list_fits(APS, sizeof(ApStatsList)));
static_assert(qv_list_fits(INTERFACES, sizeof(InterfaceStatsList)) &&
              qv_list_fits(RADIOS, sizeof(RadioStatsList)));

} // namespace

const RecordTable qv_system_stats_fields = SYSTEM_STATS_FIELDS;
const RecordList qv_sta_stats_list = STATIONS;
const RecordList qv_ap_stats_list = APS;
const RecordList qv_interface_stats_list = INTERFACES;
const RecordList qv_radio_stats_list = RADIOS;
