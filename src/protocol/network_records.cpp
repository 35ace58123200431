#include "protocol/network_records.h"

namespace {

using enum RecordFieldType;

constexpr RecordField LAN_FIELDS[] = {
    {"macaddr", text, QV_RECORD_MEMBER(LanConfigRecord, macaddr), "MAC address"},
    {"proto", text, QV_RECORD_MEMBER(LanConfigRecord, proto), "Protocol"},
    {"ipaddr", text, QV_RECORD_MEMBER(LanConfigRecord, ipaddr), "IP address"},
    {"netmask", text, QV_RECORD_MEMBER(LanConfigRecord, netmask), "Netmask"},
    {"gateway", text, QV_RECORD_MEMBER(LanConfigRecord, gateway), "Gateway"},
    {"broadcast", text, QV_RECORD_MEMBER(LanConfigRecord, broadcast), "Broadcast"},
    {"ip6assign", text, QV_RECORD_MEMBER(LanConfigRecord, ip6assign), "IPv6 assign"},
    {"ip6hint", text, QV_RECORD_MEMBER(LanConfigRecord, ip6hint), "IPv6 hint"},
    {"mtu", text, QV_RECORD_MEMBER(LanConfigRecord, mtu), "MTU"},
    {"metric", text, QV_RECORD_MEMBER(LanConfigRecord, metric), "Metric"},
    {"_orig_ifname", text, QV_RECORD_MEMBER(LanConfigRecord, orig_ifname), "_orig_ifname"},
    {"_orig_bridge", text, QV_RECORD_MEMBER(LanConfigRecord, orig_bridge), "_orig_bridge"},
    {"stp", text, QV_RECORD_MEMBER(LanConfigRecord, stp), "STP"},
    {"ifname", text, QV_RECORD_MEMBER(LanConfigRecord, ifname), "Interface name"},
    {"dhcpLanStart", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_start), "DHCP LAN start"},
    {"dhcpLanLimit", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_limit), "DHCP LAN limit"},
    {"dhcpLanLeaseTime", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_lease_time),
     "DHCP LAN lease time"},
    {"dhcpLandHcpv6", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_dhcpv6), "DHCP land Hcpv6"},
    {"dhcpLanRa", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra), "DHCP LAN RA"},
    {"dhcpLanRaManagement", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra_management),
     "DHCP LAN RA management"},
    {"dhcpLanNdp", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ndp), "DHCP LAN NDP"},
    {"dhcpLanRaDefault", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ra_default),
     "DHCP LAN RA default"},
    {"dhcpLanDynamicDhcp", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_dynamic_dhcp),
     "DHCP LAN dynamic DHCP"},
    {"dhcpLanForce", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_force), "DHCP LAN force"},
    {"dhcpLanIgnore", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_ignore), "DHCP LAN ignore"},
    {"dhcpLanNetmask", text, QV_RECORD_MEMBER(LanConfigRecord, dhcp_netmask), "DHCP LAN netmask"},
};
static_assert(qv_fields_fit(LAN_FIELDS, sizeof(LanConfigRecord)) && qv_fields_settable(LAN_FIELDS));

constexpr RecordField WAN_FIELDS[] = {
    {"proto", text, QV_RECORD_MEMBER(WanConfigRecord, proto), "proto"},
    {"hostname", text, QV_RECORD_MEMBER(WanConfigRecord, hostname), "hostname"},
    {"delegate", text, QV_RECORD_MEMBER(WanConfigRecord, delegate), "delegate"},
    {"broadcast", text, QV_RECORD_MEMBER(WanConfigRecord, broadcast), "broadcast"},
    {"defaultroute", text, QV_RECORD_MEMBER(WanConfigRecord, defaultroute), "defaultroute"},
    {"metric", text, QV_RECORD_MEMBER(WanConfigRecord, metric), "metric"},
    {"vendorid", text, QV_RECORD_MEMBER(WanConfigRecord, vendorid), "vendorid"},
    {"clientid", text, QV_RECORD_MEMBER(WanConfigRecord, clientid), "clientid"},
    {"macaddr", text, QV_RECORD_MEMBER(WanConfigRecord, macaddr), "macaddr"},
    {"mtu", text, QV_RECORD_MEMBER(WanConfigRecord, mtu), "mtu"},
};
static_assert(qv_fields_fit(WAN_FIELDS, sizeof(WanConfigRecord)) && qv_fields_settable(WAN_FIELDS));

constexpr RecordField WAN6_FIELDS[] = {
    {"proto", text, QV_RECORD_MEMBER(Wan6ConfigRecord, proto), "proto"},
    {"reqaddress", text, QV_RECORD_MEMBER(Wan6ConfigRecord, reqaddress), "reqaddress"},
    {"reqprefix", text, QV_RECORD_MEMBER(Wan6ConfigRecord, reqprefix), "reqprefix"},
    {"delegate", text, QV_RECORD_MEMBER(Wan6ConfigRecord, delegate), "delegate"},
    {"defaultroute", text, QV_RECORD_MEMBER(Wan6ConfigRecord, defaultroute), "defaultroute"},
    {"ip6prefix", text, QV_RECORD_MEMBER(Wan6ConfigRecord, ip6prefix), "ip6prefix"},
    {"clientid", text, QV_RECORD_MEMBER(Wan6ConfigRecord, clientid), "clientid"},
    {"macaddr", text, QV_RECORD_MEMBER(Wan6ConfigRecord, macaddr), "macaddr"},
    {"mtu", text, QV_RECORD_MEMBER(Wan6ConfigRecord, mtu), "mtu"},
};
static_assert(qv_fields_fit(WAN6_FIELDS, sizeof(Wan6ConfigRecord)) &&
              qv_fields_settable(WAN6_FIELDS));

} // namespace

const std::span<const RecordField> qv_network_lan_fields = LAN_FIELDS;
const std::span<const RecordField> qv_network_wan_fields = WAN_FIELDS;
const std::span<const RecordField> qv_network_wan6_fields = WAN6_FIELDS;
