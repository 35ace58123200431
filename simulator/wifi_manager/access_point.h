// The access point that the simulated wifi manager keeps: what it was set to, and what it measures.
#ifndef QV_SIMULATOR_ACCESS_POINT_H
#define QV_SIMULATOR_ACCESS_POINT_H

#include "protocol/ap_configs_records.h"
#include "protocol/maclist_records.h"
#include "protocol/network_records.h"
#include "protocol/radio_vap_records.h"
#include "protocol/statistics_records.h"
#include "protocol/system_config_record.h"
#include "protocol/wifi_manager.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

struct AccessPoint {
    uint8_t mac[6];         ///< of br-lan; every BSSID follows from it
    int32_t wifi_stats;     ///< the word of message 1; below 0 says that it failed
    int32_t upgrade_notice; ///< value of the last message 8, -1 before the first
    SystemStats system;
    SystemConfigRecord system_config;
    LanConfigRecord lan;
    WanConfigRecord wan;
    Wan6ConfigRecord wan6;
    RadioList radios;
    VapList vaps;
    StaStatsList stations;
    InterfaceStatsList interfaces; ///< br-lan, eth0, then one per VAP
    MacListControl maclist;        ///< of the last message 25
    char general_data[64];         ///< of the last message 26
    ApConfigs apconfigs;           ///< of the last message 9
    RadioStatsList radio_stats;    ///< follow from the radios and VAPs, made by qv_access_point_at
    ApStatsList ap_stats;
};
static_assert(std::is_standard_layout_v<AccessPoint> && std::is_trivially_copyable_v<AccessPoint>);

/// A member of the state: how it is shown as JSON, and which messages read it or put another in its
/// place. A plain one needs no more than its row.
struct StateMember {
    const char* name;
    size_t offset; ///< in the AccessPoint, in bytes
    size_t size;
    const RecordTable* fields = nullptr; ///< an object; one row without key: that value alone
    const RecordList* list = nullptr;    ///< or an array
    WifiMgrMsgId read{};
    WifiMgrMsgId replace{};
    bool derived = false; ///< follows from other members
};

// Values that stand alone.
extern const RecordTable LONE_MAC;
extern const RecordTable LONE_NUMBER;
extern const RecordTable LONE_GENERAL_DATA;

#define QV_STATE_MEMBER(member) #member, offsetof(AccessPoint, member), sizeof(AccessPoint::member)
inline constexpr StateMember STATE_MEMBERS[] = {
    {QV_STATE_MEMBER(mac), &LONE_MAC},
    {QV_STATE_MEMBER(wifi_stats), &LONE_NUMBER, nullptr, WIFI_MGR_GET_WIFI_STATS},
    {QV_STATE_MEMBER(upgrade_notice), &LONE_NUMBER},
    {QV_STATE_MEMBER(system), &qv_system_stats_fields, nullptr, WIFI_MGR_GET_SYSTEM_STATS},
    {QV_STATE_MEMBER(system_config), &qv_system_config_fields, nullptr, WIFI_MGR_GET_SYSTEM_CONFIG,
     WIFI_MGR_SET_SYSTEM_CONFIG},
    {QV_STATE_MEMBER(lan), &qv_network_lan_fields, nullptr, WIFI_MGR_GET_NETWORK_LAN,
     WIFI_MGR_SET_NETWORK_LAN},
    {QV_STATE_MEMBER(wan), &qv_network_wan_fields, nullptr, WIFI_MGR_GET_NETWORK_WAN,
     WIFI_MGR_SET_NETWORK_WAN},
    {QV_STATE_MEMBER(wan6), &qv_network_wan6_fields, nullptr, WIFI_MGR_GET_NETWORK_WAN6,
     WIFI_MGR_SET_NETWORK_WAN6},
    {QV_STATE_MEMBER(radios), nullptr, &qv_radio_list, WIFI_MGR_GET_RADIO_CONFIG},
    {QV_STATE_MEMBER(vaps), nullptr, &qv_vap_list, WIFI_MGR_GET_VAP_CONFIG},
    {QV_STATE_MEMBER(stations), nullptr, &qv_sta_stats_list, WIFI_MGR_GET_STA_STATS},
    {QV_STATE_MEMBER(interfaces), nullptr, &qv_interface_stats_list, WIFI_MGR_GET_INTERFACE_STATS},
    {QV_STATE_MEMBER(maclist), &qv_maclist_fields, nullptr, {}, WIFI_MGR_SET_MACLIST},
    {QV_STATE_MEMBER(general_data), &LONE_GENERAL_DATA},
    {QV_STATE_MEMBER(apconfigs), &qv_apconfigs_fields},
    {QV_STATE_MEMBER(radio_stats),
     nullptr,
     &qv_radio_stats_list,
     WIFI_MGR_GET_RADIO_STATS,
     {},
     true},
    {QV_STATE_MEMBER(ap_stats), nullptr, &qv_ap_stats_list, WIFI_MGR_GET_AP_STATS, {}, true},
};

inline constexpr size_t RADIOS = std::extent_v<decltype(RadioList::entries)>;
inline constexpr size_t VAP_ROOM = std::extent_v<decltype(VapList::records)>;
inline constexpr size_t FREQ_ROOM = std::extent_v<decltype(VapRecord::freqlist)>;
inline constexpr size_t STATION_LIMIT = 255; ///< what the count byte can say
inline constexpr size_t WIRED_INTERFACES = 2;
static_assert(WIRED_INTERFACES + VAP_ROOM == std::extent_v<decltype(InterfaceStatsList::entries)>);

/// What radio number i is made for. Channels and frequencies are those of IEEE 802.11.
struct Band {
    std::string_view radio_name;
    std::string_view radio_type;
    uint8_t number; ///< code in the radio statistics
    int mhz_base;   ///< frequency of channel n is mhz_base + 5 * n
    uint16_t channel;
    uint8_t txpower; ///< dBm
    std::string_view hwmode;
    std::string_view htmode;
    int bitrate; ///< Mbit/s
    std::span<const uint8_t> channels;
};
extern const std::array<Band, RADIOS> BANDS;

struct AccessPointChoice {
    std::string_view mac = "02:11:22:33:44:55";
    std::string_view ip = "192.168.1.1"; ///< a prefix length behind it is left out
    size_t stations = 12;
    size_t vaps = VAP_ROOM;
    size_t freqs = 0; ///< entries per VAP, repeating the band's; 0: the band's own
};

/// An access point of three radios. Entries behind a list's count are as plausible as the others,
/// so that a list may grow.
AccessPoint qv_make_access_point(const AccessPointChoice& choice);

/// A VAP with the usual settings on radio number `radio`, as that is set.
VapRecord qv_make_vap(const AccessPoint& ap, size_t radio, std::string_view ifname, size_t freqs);

/// Six bytes of an address text such as 02:11:22:33:44:55. False when it is none.
bool qv_read_mac(std::string_view text, uint8_t (&mac)[6]);

/// Address of VAP number `vap`.
std::array<uint8_t, 6> qv_bssid(const AccessPoint& ap, size_t vap);

/// The VAPs in use.
std::span<VapRecord> qv_vaps(AccessPoint& ap);
std::span<const VapRecord> qv_vaps(const AccessPoint& ap);

/// Number of the radio of that name, RADIOS when there is none.
size_t qv_find_radio(const AccessPoint& ap, std::string_view name);

/// Number at the start of a text, 0 when there is none, as in "auto".
int qv_number_in(std::string_view text);

/// A country's ISO 3166-1 number from its letters or digits, and its letters from its number;
/// 0 and digits for one that is not in the table.
uint16_t qv_country_number(std::string_view text);
std::string_view qv_country_letters(uint16_t number);

#endif
