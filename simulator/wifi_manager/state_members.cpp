#include "state_members.h"

#include "access_point.h"
#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

// Values that stand alone.
constexpr RecordField MAC_FIELD[] = {{nullptr, mac, 0, 6}};
constexpr RecordField NUMBER_FIELD[] = {{nullptr, i32, 0, 4}};
constexpr RecordField GENERAL_DATA_FIELD[] = {{nullptr, text, 0, sizeof AccessPoint::general_data}};
constexpr RecordTable MAC = MAC_FIELD;
constexpr RecordTable NUMBER = NUMBER_FIELD;
constexpr RecordTable GENERAL_DATA = GENERAL_DATA_FIELD;

#define MEMBER(member) #member, offsetof(AccessPoint, member), sizeof(AccessPoint::member)

constexpr StateMember MEMBERS[] = {
    {MEMBER(mac), &MAC},
    {MEMBER(wifi_stats), &NUMBER, nullptr, WIFI_MGR_GET_WIFI_STATS},
    {MEMBER(upgrade_notice), &NUMBER},
    {MEMBER(system), &qv_system_stats_fields, nullptr, WIFI_MGR_GET_SYSTEM_STATS},
    {MEMBER(system_config), &qv_system_config_fields, nullptr, WIFI_MGR_GET_SYSTEM_CONFIG,
     WIFI_MGR_SET_SYSTEM_CONFIG},
    {MEMBER(lan), &qv_network_lan_fields, nullptr, WIFI_MGR_GET_NETWORK_LAN,
     WIFI_MGR_SET_NETWORK_LAN},
    {MEMBER(wan), &qv_network_wan_fields, nullptr, WIFI_MGR_GET_NETWORK_WAN,
     WIFI_MGR_SET_NETWORK_WAN},
    {MEMBER(wan6), &qv_network_wan6_fields, nullptr, WIFI_MGR_GET_NETWORK_WAN6,
     WIFI_MGR_SET_NETWORK_WAN6},
    {MEMBER(radios), nullptr, &qv_radio_list, WIFI_MGR_GET_RADIO_CONFIG},
    {MEMBER(vaps), nullptr, &qv_vap_list, WIFI_MGR_GET_VAP_CONFIG},
    {MEMBER(stations), nullptr, &qv_sta_stats_list, WIFI_MGR_GET_STA_STATS},
    {MEMBER(interfaces), nullptr, &qv_interface_stats_list, WIFI_MGR_GET_INTERFACE_STATS},
    {MEMBER(maclist), &qv_maclist_fields, nullptr, {}, WIFI_MGR_SET_MACLIST},
    {MEMBER(general_data), &GENERAL_DATA},
    {MEMBER(apconfigs), &qv_apconfigs_fields},
    {MEMBER(radio_stats), nullptr, &qv_radio_stats_list, WIFI_MGR_GET_RADIO_STATS, {}, true},
    {MEMBER(ap_stats), nullptr, &qv_ap_stats_list, WIFI_MGR_GET_AP_STATS, {}, true},
};

} // namespace

const std::span<const StateMember> STATE_MEMBERS = MEMBERS;
