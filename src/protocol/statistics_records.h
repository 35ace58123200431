// Statistics records of the wifi manager, as they stand in its replies: host byte order, text
// fields NUL-terminated within their width or as long as it.
#ifndef QV_PROTOCOL_STATISTICS_RECORDS_H
#define QV_PROTOCOL_STATISTICS_RECORDS_H

#include "protocol/record_fields.h"

#include <cstddef>
#include <cstdint>

/// Units and codes of the numbers are the wifi manager's.
struct SystemStats {
    char hw_name[64];
    char fwinfo[64];
    char hostname[64];
    char model[64];
    char kernel_version[64];
    char loadavg[64];
    char equipment_notes[64];
    int32_t cpu_usage;
    int32_t max_memory;
    int32_t max_memory_used;
    int32_t max_disk_space;
    int32_t max_disk_space_used;
    int32_t uptime;
};
static_assert(sizeof(SystemStats) == 472);
static_assert(offsetof(SystemStats, equipment_notes) == 384);
static_assert(offsetof(SystemStats, cpu_usage) == 448);
static_assert(offsetof(SystemStats, uptime) == 468);

/// One associated client station. Rates, power and times are in the wifi manager's units.
struct StaStatsEntry {
    uint8_t macaddr[6];
    uint8_t bssid[6]; ///< of the access point that the station is associated with
    int32_t rssi;
    uint16_t channel;
    uint8_t reserved1[2];
    int32_t txrate;
    int32_t rxrate;
    int32_t uptime; ///< since the association
    uint16_t txpower;
    uint8_t reserved2[2];
};
static_assert(sizeof(StaStatsEntry) == 36);
static_assert(offsetof(StaStatsEntry, rssi) == 12);
static_assert(offsetof(StaStatsEntry, channel) == 16);
static_assert(offsetof(StaStatsEntry, txrate) == 20);
static_assert(offsetof(StaStatsEntry, txpower) == 32);

struct StaStatsList {
    uint8_t count; ///< valid entries
    uint8_t reserved[3];
    StaStatsEntry entries[256];
};
static_assert(sizeof(StaStatsList) == 9220);
static_assert(offsetof(StaStatsList, entries) == 4);

enum ApStatus : uint8_t { AP_STATUS_UP = 0, AP_STATUS_DOWN = 1 };

/// One access point of this device, one per radio interface.
struct ApStatsEntry {
    uint16_t channel;
    uint16_t frequency;
    uint8_t status; ///< ApStatus, or a value that has no name
    char phymode[17];
    uint16_t mode;
    uint8_t bssid[6];
    char ssid[34];
    uint16_t numsta; ///< associated stations
    uint8_t txpower;
    uint8_t reserved;
    int32_t bitrate;
    uint8_t wifi_signal;
    uint8_t noise;
    char country[32];
    char ipaddr[24];
    char ifname[33];
    char parent[33]; ///< name of the radio
    char encryption[64];
};
static_assert(sizeof(ApStatsEntry) == 260);
static_assert(offsetof(ApStatsEntry, phymode) == 5);
static_assert(offsetof(ApStatsEntry, mode) == 22);
static_assert(offsetof(ApStatsEntry, ssid) == 30);
static_assert(offsetof(ApStatsEntry, numsta) == 64);
static_assert(offsetof(ApStatsEntry, bitrate) == 68);
static_assert(offsetof(ApStatsEntry, country) == 74);
static_assert(offsetof(ApStatsEntry, ifname) == 130);
static_assert(offsetof(ApStatsEntry, encryption) == 196);

struct ApStatsList {
    uint8_t count; ///< valid entries; may say more than there is room for
    uint8_t reserved[3];
    ApStatsEntry entries[24];
};
static_assert(sizeof(ApStatsList) == 6244);
static_assert(offsetof(ApStatsList, entries) == 4);

/// One network interface; the counters are decimal text.
struct InterfaceStatsEntry {
    char ifname[32];
    char macaddr[20];
    char rx_bytes[32];
    char tx_bytes[32];
    char rx_packets[32];
    char tx_packets[32];
    char ipaddr[24];
};
static_assert(sizeof(InterfaceStatsEntry) == 204);
static_assert(offsetof(InterfaceStatsEntry, rx_bytes) == 52);
static_assert(offsetof(InterfaceStatsEntry, ipaddr) == 180);

struct InterfaceStatsList {
    uint8_t count; ///< valid entries; may say more than there is room for
    InterfaceStatsEntry entries[10];
};
static_assert(sizeof(InterfaceStatsList) == 2041);
static_assert(offsetof(InterfaceStatsList, entries) == 1);

/// Channel of a radio that is not reported.
inline constexpr uint16_t RADIO_STATS_UNUSED_CHANNEL = 65535;

struct RadioStatsEntry {
    char radio_name[10];
    uint8_t radio_id;
    uint8_t reserved;
    uint16_t channel;
    uint8_t band;
    uint8_t num_vaps;
    char radio_type[8];
};
static_assert(sizeof(RadioStatsEntry) == 24);
static_assert(offsetof(RadioStatsEntry, radio_id) == 10);
static_assert(offsetof(RadioStatsEntry, channel) == 12);
static_assert(offsetof(RadioStatsEntry, radio_type) == 16);

struct RadioStatsList {
    uint8_t count; ///< entries; may say more than there is room for
    uint8_t reserved;
    RadioStatsEntry entries[3];
};
static_assert(sizeof(RadioStatsList) == 74);
static_assert(offsetof(RadioStatsList, entries) == 2);

/// SystemStats, StaStatsList, ApStatsList, InterfaceStatsList and RadioStatsList, as reported.
extern const RecordTable qv_system_stats_fields;
extern const RecordList qv_sta_stats_list;
extern const RecordList qv_ap_stats_list;
extern const RecordList qv_interface_stats_list;
extern const RecordList qv_radio_stats_list;

#endif
