#include "protocol/network_records.h"

#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

constexpr RecordField LAN_FIELDS[] = {
    {"macaddr", text, QV_RECORD_MEMBER(LanConfigRecord, macaddr, 0), "MAC address"},
    {"proto", text, QV_RECORD_MEMBER(LanConfigRecord, proto, 32), "Protocol"},
    {"ipaddr", text, QV_RECORD_MEMBER(LanConfigRecord, ipaddr, 64), "IP address"},
    {"netmask", text, QV_RECORD_MEMBER(LanConfigRecord, netmask, 96), "Netmask"},
    {"gateway", text, QV_RECORD_MEMBER(LanConfigRecord, gateway, 128), "Gateway"},
    {"broadcast", text, QV_RECORD_MEMBER(LanConfigRecord, broadcast, 160), "Broadcast"},
    {"ip6assign", text, QV_RECORD_MEMBER(LanConfigRecord, ip6assign, 192), "IPv6 assign"},
    {"ip6hint", text, QV_RECORD_MEMBER(LanConfigRecord, ip6hint, 224), "IPv6 hint"},
    {"mtu", text, QV_RECORD_MEMBER(LanConfigRecord, mtu, 256), "MTU"},
    {"metric", text, QV_RECORD_MEMBER(LanConfigRecord, metric, 288), "Metric"},
    {"_orig_ifname", text, QV_RECORD_MEMBER(LanConfigRecord, orig_ifname, 320), "_orig_ifname"},
    {"_orig_bridge", text, QV_RECORD_MEMBER(LanConfigRecord, orig_bridge, 352), "_orig_bridge"},
    {"stp", text, QV_RECORD_MEMBER(LanConfigRecord, stp, 360), "STP"},
    {"ifname", text, QV_RECORD_MEMBER(LanConfigRecord, ifname, 368), "Interface name"},
    {"dhcpLanStart", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_start, 400), "DHCP LAN start"},
    {"dhcpLanLimit", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_limit, 432), "DHCP LAN limit"},
    {"dhcpLanLeaseTime", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_lease_time, 464),
     "DHCP LAN lease time"},
    {"dhcpLandHcpv6", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_dhcpv6, 496), "DHCP land Hcpv6"},
    {"dhcpLanRa", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra, 528), "DHCP LAN RA"},
    {"dhcpLanRaManagement", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra_management, 560),
     "DHCP LAN RA management"},
    {"dhcpLanNdp", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ndp, 568), "DHCP LAN NDP"},
    {"dhcpLanRaDefault", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra_default, 600),
     "DHCP LAN RA default"},
    {"dhcpLanDynamicDhcp", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_dynamic_dhcp, 632),
     "DHCP LAN dynamic DHCP"},
    {"dhcpLanForce", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_force, 664), "DHCP LAN force"},
    {"dhcpLanIgnore", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ignore, 696), "DHCP LAN ignore"},
    {"dhcpLanNetmask", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_netmask, 704),
     "DHCP LAN netmask"},
};
static_assert(qv_settings_fit(LAN_FIELDS, sizeof(LanConfigRecord)));

constexpr RecordField WAN_FIELDS[] = {
    {"proto", text, QV_RECORD_MEMBER(WanConfigRecord, proto, 0), "proto"},
    {"hostname", text, QV_RECORD_MEMBER(WanConfigRecord, hostname, 32), "hostname"},
    {"delegate", text, QV_RECORD_MEMBER(WanConfigRecord, delegate, 64), "delegate"},
    {"broadcast", text, QV_RECORD_MEMBER(WanConfigRecord, broadcast, 72), "broadcast"},
    {"defaultroute", text, QV_RECORD_MEMBER(WanConfigRecord, defaultroute, 80), "defaultroute"},
    {"metric", text, QV_RECORD_MEMBER(WanConfigRecord, metric, 88), "metric"},
    {"vendorid", text, QV_RECORD_MEMBER(WanConfigRecord, vendorid, 120), "vendorid"},
    {"clientid", text, QV_RECORD_MEMBER(WanConfigRecord, clientid, 152), "clientid"},
    {"macaddr", text, QV_RECORD_MEMBER(WanConfigRecord, macaddr, 184), "macaddr"},
    {"mtu", text, QV_RECORD_MEMBER(WanConfigRecord, mtu, 216), "mtu"},
};
static_assert(qv_settings_fit(WAN_FIELDS, sizeof(WanConfigRecord)));

constexpr RecordField WAN6_FIELDS[] = {
    {"proto", text, QV_RECORD_MEMBER(Wan6ConfigRecord, proto, 0), "proto"},
    {"reqaddress", text, QV_RECORD_MEMBER(Wan6ConfigRecord, reqaddress, 32), "reqaddress"},
    {"reqprefix", text, QV_RECORD_MEMBER(Wan6ConfigRecord, reqprefix, 64), "reqprefix"},
    {"delegate", text, QV_RECORD_MEMBER(Wan6ConfigRecord, delegate, 96), "delegate"},
    {"defaultroute", text, QV_RECORD_MEMBER(Wan6ConfigRecord, defaultroute, 104), "defaultroute"},
    {"ip6prefix", text, QV_RECORD_MEMBER(Wan6ConfigRecord, ip6prefix, 112), "ip6prefix"},
    {"clientid", text, QV_RECORD_MEMBER(Wan6ConfigRecord, clientid, 144), "clientid"},
    {"macaddr", text, QV_RECORD_MEMBER(Wan6ConfigRecord, macaddr, 176), "macaddr"},
    {"mtu", text, QV_RECORD_MEMBER(Wan6ConfigRecord, mtu, 208), "mtu"},
};
static_assert(qv_settings_fit(WAN6_FIELDS, sizeof(Wan6ConfigRecord)));

} // namespace

const RecordTable qv_network_lan_fields = LAN_FIELDS;
const RecordTable qv_network_wan_fields = WAN_FIELDS;
const RecordTable qv_network_wan6_fields = WAN6_FIELDS;
