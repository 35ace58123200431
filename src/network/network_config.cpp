#include "network/network_config.h"

#include "broker/send_report.h"
#include "messages/record_fields.h"
#include "messages/report.h"
#include "wifimgr/channel.h"

#include <cstdio>

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
static_assert(qv_fields_fit(LAN_FIELDS, sizeof(LanConfigRecord)));

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
static_assert(qv_fields_fit(WAN_FIELDS, sizeof(WanConfigRecord)));

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
static_assert(qv_fields_fit(WAN6_FIELDS, sizeof(Wan6ConfigRecord)));

/// What one kind of settings has of its own. `Record` is what its fields stand in.
template <class Record>
struct Settings {
    const char* key; ///< member of the command's "data" that holds the settings
    std::span<const RecordField> fields;
    WifiMgrMsgId apply;
    WifiMgrMsgId read;
    ReportKindNumber report;
    bool show_payload = false; ///< the handler prints the command text first
};

constexpr Settings<LanConfigRecord> LAN = {.key = "uci_network_lan",
                                           .fields = LAN_FIELDS,
                                           .apply = WIFI_MGR_SET_NETWORK_LAN,
                                           .read = WIFI_MGR_GET_NETWORK_LAN,
                                           .report = REPORT_UCI_NETWORK_LAN};
constexpr Settings<WanConfigRecord> WAN = {.key = "uci_network_wan",
                                           .fields = WAN_FIELDS,
                                           .apply = WIFI_MGR_SET_NETWORK_WAN,
                                           .read = WIFI_MGR_GET_NETWORK_WAN,
                                           .report = REPORT_UCI_NETWORK_WAN};
constexpr Settings<Wan6ConfigRecord> WAN6 = {.key = "uci_network_wan6",
                                             .fields = WAN6_FIELDS,
                                             .apply = WIFI_MGR_SET_NETWORK_WAN6,
                                             .read = WIFI_MGR_GET_NETWORK_WAN6,
                                             .report = REPORT_UCI_NETWORK_WAN6,
                                             .show_payload = true};

template <class Record>
int32_t parse(const Settings<Record>& settings, Record& record, const char* text) {
    const JsonPtr root(json_tokener_parse(text));
    qv_json_to_record(qv_json_path(root.get(), {"data", settings.key}), qv_record_bytes(record),
                      settings.fields);
    return 0;
}

template <class Record>
int32_t read(const Settings<Record>& settings, Record& record) {
    qv_wifi_mgr_read(settings.read, qv_record_bytes(record));
    return 0;
}

template <class Record>
int32_t to_json(const Settings<Record>& settings, json_object* body, const Record& record) {
    qv_record_to_json(body, qv_record_bytes(record), settings.fields);
    return 0;
}

template <class Record>
int32_t set(const Settings<Record>& settings, AgentContext& context, const char* payload) {
    if (settings.show_payload) {
        printf("SUB MSG:payload=%s\n", payload);
    }
    Record record{};
    parse(settings, record, payload);
    qv_print_record(qv_record_bytes(record), settings.fields);
    qv_wifi_mgr_apply(settings.apply, qv_record_bytes(record));
    qv_send_report(context, settings.report, SYSTEM_STATS_ERROR);
    return 0;
}

} // namespace

int32_t qv_json_parse_msg_get_network_lan(LanConfigRecord& record, const char* text,
                                          uint32_t /*length*/) {
    return parse(LAN, record, text);
}
void qv_print_network_lan(const LanConfigRecord& record) {
    qv_print_record(qv_record_bytes(record), LAN.fields);
}
int32_t qv_mgr_set_network_lan(const LanConfigRecord& record) {
    return qv_wifi_mgr_apply(LAN.apply, qv_record_bytes(record));
}
int32_t qv_get_network_lan(LanConfigRecord& record) {
    return read(LAN, record);
}
int32_t qv_network_lan_to_json(json_object* body, const LanConfigRecord& record) {
    return to_json(LAN, body, record);
}
int32_t qv_set_network_lan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(LAN, context, payload);
}

int32_t qv_json_parse_msg_get_network_wan(WanConfigRecord& record, const char* text,
                                          uint32_t /*length*/) {
    return parse(WAN, record, text);
}
void qv_print_network_wan(const WanConfigRecord& record) {
    qv_print_record(qv_record_bytes(record), WAN.fields);
}
int32_t qv_mgr_set_network_wan(const WanConfigRecord& record) {
    return qv_wifi_mgr_apply(WAN.apply, qv_record_bytes(record));
}
int32_t qv_get_network_wan(WanConfigRecord& record) {
    return read(WAN, record);
}
int32_t qv_network_wan_to_json(json_object* body, const WanConfigRecord& record) {
    return to_json(WAN, body, record);
}
int32_t qv_set_network_wan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(WAN, context, payload);
}

int32_t qv_json_parse_msg_get_network_wan6(Wan6ConfigRecord& record, const char* text,
                                           uint32_t /*length*/) {
    return parse(WAN6, record, text);
}
void qv_print_network_wan6(const Wan6ConfigRecord& record) {
    qv_print_record(qv_record_bytes(record), WAN6.fields);
}
int32_t qv_mgr_set_network_wan6(const Wan6ConfigRecord& record) {
    return qv_wifi_mgr_apply(WAN6.apply, qv_record_bytes(record));
}
int32_t qv_get_network_wan6(Wan6ConfigRecord& record) {
    return read(WAN6, record);
}
int32_t qv_network_wan6_to_json(json_object* body, const Wan6ConfigRecord& record) {
    return to_json(WAN6, body, record);
}
int32_t qv_set_network_wan6(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(WAN6, context, payload);
}
