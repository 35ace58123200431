#include "state_fields.h"

#include "access_point.h"

#include <type_traits>

namespace {

template <class Member>
constexpr StateFieldKind kind_of() {
    if constexpr (std::is_integral_v<Member>) {
        return std::is_signed_v<Member> ? StateFieldKind::negative_number : StateFieldKind::number;
    } else if constexpr (std::is_same_v<Member, uint8_t[6]>) {
        return StateFieldKind::mac;
    } else {
        static_assert(std::is_same_v<std::remove_extent_t<Member>, char>);
        return StateFieldKind::text;
    }
}

#define NAMED(name, Record, member)                                                                \
    StateField {                                                                                   \
        name, kind_of<decltype(Record::member)>(), offsetof(Record, member),                       \
            sizeof(Record::member)                                                                 \
    }
#define VALUE(Record, member) NAMED(#member, Record, member)
#define RECORD(Record, member, fields)                                                             \
    StateField {                                                                                   \
#member, StateFieldKind::record, offsetof(Record, member), sizeof(Record::member), fields  \
    }
#define LIST(name, Record, member, fields, count, unit)                                            \
    StateField {                                                                                   \
        name, StateFieldKind::list, offsetof(Record, member), sizeof(Record::member[0]), fields,   \
            std::extent_v<decltype(Record::member)>, &(count), unit                                \
    }

constexpr StateField SYSTEM[] = {
    VALUE(SystemStats, hw_name),         VALUE(SystemStats, fwinfo),
    VALUE(SystemStats, hostname),        VALUE(SystemStats, model),
    VALUE(SystemStats, kernel_version),  VALUE(SystemStats, loadavg),
    VALUE(SystemStats, equipment_notes), VALUE(SystemStats, cpu_usage),
    VALUE(SystemStats, max_memory),      VALUE(SystemStats, max_memory_used),
    VALUE(SystemStats, max_disk_space),  VALUE(SystemStats, max_disk_space_used),
    VALUE(SystemStats, uptime),
};

constexpr StateField SERVER[] = {{nullptr, StateFieldKind::text, 0, SYSTEM_SERVER_SIZE}};
constexpr StateField SERVER_COUNT = VALUE(SystemConfigRecord, server_count);
constexpr StateField SYSTEM_CONFIG[] = {
    VALUE(SystemConfigRecord, hostname),
    VALUE(SystemConfigRecord, zonename),
    VALUE(SystemConfigRecord, timezone),
    VALUE(SystemConfigRecord, log_size),
    VALUE(SystemConfigRecord, log_ip),
    VALUE(SystemConfigRecord, log_port),
    VALUE(SystemConfigRecord, conloglevel),
    VALUE(SystemConfigRecord, cronloglevel),
    VALUE(SystemConfigRecord, enabled),
    VALUE(SystemConfigRecord, enable_server),
    LIST("server", SystemConfigRecord, server, SERVER, SERVER_COUNT, 1),
};

constexpr StateField LAN[] = {
    VALUE(LanConfigRecord, macaddr),
    VALUE(LanConfigRecord, proto),
    VALUE(LanConfigRecord, ipaddr),
    VALUE(LanConfigRecord, netmask),
    VALUE(LanConfigRecord, gateway),
    VALUE(LanConfigRecord, broadcast),
    VALUE(LanConfigRecord, ip6assign),
    VALUE(LanConfigRecord, ip6hint),
    VALUE(LanConfigRecord, mtu),
    VALUE(LanConfigRecord, metric),
    VALUE(LanConfigRecord, orig_ifname),
    VALUE(LanConfigRecord, orig_bridge),
    VALUE(LanConfigRecord, stp),
    VALUE(LanConfigRecord, ifname),
    VALUE(LanConfigRecord, dhcp_start),
    VALUE(LanConfigRecord, dhcp_limit),
    VALUE(LanConfigRecord, dhcp_lease_time),
    VALUE(LanConfigRecord, dhcp_dhcpv6),
    VALUE(LanConfigRecord, dhcp_ra),
    VALUE(LanConfigRecord, dhcp_ra_management),
    VALUE(LanConfigRecord, dhcp_ndp),
    VALUE(LanConfigRecord, dhcp_ra_default),
    VALUE(LanConfigRecord, dhcp_dynamic_dhcp),
    VALUE(LanConfigRecord, dhcp_force),
    VALUE(LanConfigRecord, dhcp_ignore),
    VALUE(LanConfigRecord, dhcp_netmask),
};

constexpr StateField WAN[] = {
    VALUE(WanConfigRecord, proto),        VALUE(WanConfigRecord, hostname),
    VALUE(WanConfigRecord, delegate),     VALUE(WanConfigRecord, broadcast),
    VALUE(WanConfigRecord, defaultroute), VALUE(WanConfigRecord, metric),
    VALUE(WanConfigRecord, vendorid),     VALUE(WanConfigRecord, clientid),
    VALUE(WanConfigRecord, macaddr),      VALUE(WanConfigRecord, mtu),
};

constexpr StateField WAN6[] = {
    VALUE(Wan6ConfigRecord, proto),        VALUE(Wan6ConfigRecord, reqaddress),
    VALUE(Wan6ConfigRecord, reqprefix),    VALUE(Wan6ConfigRecord, delegate),
    VALUE(Wan6ConfigRecord, defaultroute), VALUE(Wan6ConfigRecord, ip6prefix),
    VALUE(Wan6ConfigRecord, clientid),     VALUE(Wan6ConfigRecord, macaddr),
    VALUE(Wan6ConfigRecord, mtu),
};

constexpr StateField RADIO[] = {
    VALUE(RadioEntry, radio_name), VALUE(RadioEntry, channel), VALUE(RadioEntry, disabled),
    VALUE(RadioEntry, txpower),    VALUE(RadioEntry, country), VALUE(RadioEntry, radio_type),
    VALUE(RadioEntry, hwmode),     VALUE(RadioEntry, htmode),
};

constexpr StateField FREQUENCY[] = {
    VALUE(FreqListEntry, channel),
    VALUE(FreqListEntry, mhz),
    VALUE(FreqListEntry, restricted),
};

constexpr StateField FREQLIST_LEN = VALUE(VapRecord, freqlist_len);
constexpr StateField VAP[] = {
    VALUE(VapRecord, ifname),
    VALUE(VapRecord, device),
    VALUE(VapRecord, disabled),
    VALUE(VapRecord, country),
    VALUE(VapRecord, hwmode),
    VALUE(VapRecord, htmode),
    VALUE(VapRecord, channel),
    VALUE(VapRecord, freq),
    VALUE(VapRecord, blockdfschlist),
    VALUE(VapRecord, acs_bkscanen),
    VALUE(VapRecord, acs_scanintvl),
    VALUE(VapRecord, antenna_gain),
    VALUE(VapRecord, txpower),
    VALUE(VapRecord, range),
    VALUE(VapRecord, regdomain),
    VALUE(VapRecord, ssid),
    VALUE(VapRecord, mode),
    VALUE(VapRecord, wds),
    VALUE(VapRecord, shortgi),
    VALUE(VapRecord, manrate),
    VALUE(VapRecord, hidden),
    VALUE(VapRecord, encryption),
    VALUE(VapRecord, key),
    VALUE(VapRecord, key1),
    VALUE(VapRecord, key2),
    VALUE(VapRecord, key3),
    VALUE(VapRecord, key4),
    VALUE(VapRecord, sae),
    VALUE(VapRecord, sae_password),
    VALUE(VapRecord, sae_pwe),
    VALUE(VapRecord, sae_require_mfp),
    VALUE(VapRecord, doth),
    VALUE(VapRecord, isolate),
    VALUE(VapRecord, uapsd),
    VALUE(VapRecord, mcast_rate),
    VALUE(VapRecord, frag),
    VALUE(VapRecord, rts),
    VALUE(VapRecord, wmm),
    VALUE(VapRecord, txantenna),
    VALUE(VapRecord, rxantenna),
    VALUE(VapRecord, scanlist),
    VALUE(VapRecord, macpolicy),
    LIST("freqlist", VapRecord, freqlist, FREQUENCY, FREQLIST_LEN, sizeof(FreqListEntry)),
};

constexpr StateField STATION[] = {
    VALUE(StaStatsEntry, macaddr), VALUE(StaStatsEntry, bssid),   VALUE(StaStatsEntry, rssi),
    VALUE(StaStatsEntry, channel), VALUE(StaStatsEntry, txrate),  VALUE(StaStatsEntry, rxrate),
    VALUE(StaStatsEntry, uptime),  VALUE(StaStatsEntry, txpower),
};

constexpr StateField INTERFACE[] = {
    VALUE(InterfaceStatsEntry, ifname),     VALUE(InterfaceStatsEntry, macaddr),
    VALUE(InterfaceStatsEntry, rx_bytes),   VALUE(InterfaceStatsEntry, tx_bytes),
    VALUE(InterfaceStatsEntry, rx_packets), VALUE(InterfaceStatsEntry, tx_packets),
    VALUE(InterfaceStatsEntry, ipaddr),
};

constexpr StateField MACLIST[] = {
    VALUE(MacListControl, maclist_size),
    VALUE(MacListControl, wifi0Flag),
    VALUE(MacListControl, wifi1Flag),
};

constexpr StateField APCONFIGS_VAP[] = {
    VALUE(ApConfigsVap, ssid), VALUE(ApConfigsVap, opmode),     VALUE(ApConfigsVap, network),
    VALUE(ApConfigsVap, key),  VALUE(ApConfigsVap, encryption),
};
constexpr StateField NUM_VAPS = VALUE(ApConfigsRadio, num_vaps);
constexpr StateField APCONFIGS_RADIO[] = {
    VALUE(ApConfigsRadio, channel),
    VALUE(ApConfigsRadio, disabled),
    VALUE(ApConfigsRadio, txpower),
    VALUE(ApConfigsRadio, country),
    VALUE(ApConfigsRadio, hwmode),
    VALUE(ApConfigsRadio, htmode),
    LIST("vap_list", ApConfigsRadio, vaps, APCONFIGS_VAP, NUM_VAPS, 1),
};

constexpr StateField RADIO_STATS[] = {
    VALUE(RadioStatsEntry, radio_name), VALUE(RadioStatsEntry, radio_id),
    VALUE(RadioStatsEntry, channel),    VALUE(RadioStatsEntry, band),
    VALUE(RadioStatsEntry, num_vaps),   VALUE(RadioStatsEntry, radio_type),
};

constexpr StateField AP_STATS[] = {
    VALUE(ApStatsEntry, channel), VALUE(ApStatsEntry, frequency),   VALUE(ApStatsEntry, status),
    VALUE(ApStatsEntry, phymode), VALUE(ApStatsEntry, mode),        VALUE(ApStatsEntry, bssid),
    VALUE(ApStatsEntry, ssid),    VALUE(ApStatsEntry, numsta),      VALUE(ApStatsEntry, txpower),
    VALUE(ApStatsEntry, bitrate), VALUE(ApStatsEntry, wifi_signal), VALUE(ApStatsEntry, noise),
    VALUE(ApStatsEntry, country), VALUE(ApStatsEntry, ipaddr),      VALUE(ApStatsEntry, ifname),
    VALUE(ApStatsEntry, parent),  VALUE(ApStatsEntry, encryption),
};

// Counts of the lists below.
constexpr StateField RADIO_COUNT = VALUE(AccessPoint, radios.count);
constexpr StateField VAP_COUNT = VALUE(AccessPoint, vaps.num_vaps);
constexpr StateField STATION_COUNT = VALUE(AccessPoint, stations.count);
constexpr StateField INTERFACE_COUNT = VALUE(AccessPoint, interfaces.count);
constexpr StateField APCONFIGS_COUNT = VALUE(AccessPoint, apconfigs.num_radios);
constexpr StateField RADIO_STATS_COUNT = VALUE(AccessPoint, radio_stats.count);
constexpr StateField AP_STATS_COUNT = VALUE(AccessPoint, ap_stats.count);

constexpr StateField following(StateField field) {
    field.derived = true;
    return field;
}

constexpr StateField MEMBERS[] = {
    VALUE(AccessPoint, mac),
    VALUE(AccessPoint, wifi_stats),
    VALUE(AccessPoint, upgrade_notice),
    RECORD(AccessPoint, system, SYSTEM),
    RECORD(AccessPoint, system_config, SYSTEM_CONFIG),
    RECORD(AccessPoint, lan, LAN),
    RECORD(AccessPoint, wan, WAN),
    RECORD(AccessPoint, wan6, WAN6),
    LIST("radios", AccessPoint, radios.entries, RADIO, RADIO_COUNT, 1),
    LIST("vaps", AccessPoint, vaps.records, VAP, VAP_COUNT, 1),
    LIST("stations", AccessPoint, stations.entries, STATION, STATION_COUNT, 1),
    LIST("interfaces", AccessPoint, interfaces.entries, INTERFACE, INTERFACE_COUNT, 1),
    RECORD(AccessPoint, maclist, MACLIST),
    VALUE(AccessPoint, general_data),
    LIST("apconfigs", AccessPoint, apconfigs.radios, APCONFIGS_RADIO, APCONFIGS_COUNT, 1),
    following(
        LIST("radio_stats", AccessPoint, radio_stats.entries, RADIO_STATS, RADIO_STATS_COUNT, 1)),
    following(LIST("ap_stats", AccessPoint, ap_stats.entries, AP_STATS, AP_STATS_COUNT, 1)),
};

} // namespace

const std::span<const StateField> ACCESS_POINT_FIELDS = MEMBERS;
const std::span<const StateField> VAP_FIELDS = VAP;
