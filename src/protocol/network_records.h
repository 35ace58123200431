// Network settings as the wifi manager holds them. Every field is a text, NUL-terminated within
// its width or as long as it; there are no gaps.
#ifndef QV_PROTOCOL_NETWORK_RECORDS_H
#define QV_PROTOCOL_NETWORK_RECORDS_H

#include "protocol/record_fields.h"

#include <cstddef>

/// The LAN interface, then the DHCP service on it.
struct LanConfigRecord {
    char macaddr[32];
    char proto[32];
    char ipaddr[32];
    char netmask[32];
    char gateway[32];
    char broadcast[32];
    char ip6assign[32];
    char ip6hint[32];
    char mtu[32];
    char metric[32];
    char orig_ifname[32];
    char orig_bridge[8];
    char stp[8];
    char ifname[32];
    char dhcp_start[32];
    char dhcp_limit[32];
    char dhcp_lease_time[32];
    char dhcp_dhcpv6[32];
    char dhcp_ra[32];
    char dhcp_ra_management[8];
    char dhcp_ndp[32];
    char dhcp_ra_default[32];
    char dhcp_dynamic_dhcp[32];
    char dhcp_force[32];
    char dhcp_ignore[8];
    char dhcp_netmask[32];
};
static_assert(sizeof(LanConfigRecord) == 736);
static_assert(offsetof(LanConfigRecord, orig_bridge) == 352);
static_assert(offsetof(LanConfigRecord, ifname) == 368);
static_assert(offsetof(LanConfigRecord, dhcp_start) == 400);
static_assert(offsetof(LanConfigRecord, dhcp_ra_management) == 560);
static_assert(offsetof(LanConfigRecord, dhcp_ndp) == 568);
static_assert(offsetof(LanConfigRecord, dhcp_ignore) == 696);
static_assert(offsetof(LanConfigRecord, dhcp_netmask) == 704);

struct WanConfigRecord {
    char proto[32];
    char hostname[32];
    char delegate[8];
    char broadcast[8];
    char defaultroute[8];
    char metric[32];
    char vendorid[32];
    char clientid[32];
    char macaddr[32];
    char mtu[32];
};
static_assert(sizeof(WanConfigRecord) == 248);
static_assert(offsetof(WanConfigRecord, delegate) == 64);
static_assert(offsetof(WanConfigRecord, metric) == 88);
static_assert(offsetof(WanConfigRecord, mtu) == 216);

struct Wan6ConfigRecord {
    char proto[32];
    char reqaddress[32];
    char reqprefix[32];
    char delegate[8];
    char defaultroute[8];
    char ip6prefix[32];
    char clientid[32];
    char macaddr[32];
    char mtu[32];
};
static_assert(sizeof(Wan6ConfigRecord) == 240);
static_assert(offsetof(Wan6ConfigRecord, delegate) == 96);
static_assert(offsetof(Wan6ConfigRecord, ip6prefix) == 112);
static_assert(offsetof(Wan6ConfigRecord, mtu) == 208);

/// What a command may name, by record; every row is reported and logged, in this order.
extern const RecordTable qv_network_lan_fields;
extern const RecordTable qv_network_wan_fields;
extern const RecordTable qv_network_wan6_fields;

#endif
