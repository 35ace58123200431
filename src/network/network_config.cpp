#include "network/network_config.h"

#include "protocol/network_records.h"
#include "protocol/record_fields.h"
#include "reports/report.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

#include <cstdio>

namespace {

/// What one kind of settings has of its own. `Record` is what its fields stand in.
template <class Record>
struct Settings {
    const char* key; ///< member of the command's "data" that holds the settings
    const std::span<const RecordField>& fields;
    WifiMgrMsgId apply;
    WifiMgrMsgId read;
    ReportKindNumber report;
    bool show_payload = false; ///< the handler prints the command text first
};

constexpr Settings<LanConfigRecord> LAN = {.key = "uci_network_lan",
                                           .fields = qv_network_lan_fields,
                                           .apply = WIFI_MGR_SET_NETWORK_LAN,
                                           .read = WIFI_MGR_GET_NETWORK_LAN,
                                           .report = REPORT_UCI_NETWORK_LAN};
constexpr Settings<WanConfigRecord> WAN = {.key = "uci_network_wan",
                                           .fields = qv_network_wan_fields,
                                           .apply = WIFI_MGR_SET_NETWORK_WAN,
                                           .read = WIFI_MGR_GET_NETWORK_WAN,
                                           .report = REPORT_UCI_NETWORK_WAN};
constexpr Settings<Wan6ConfigRecord> WAN6 = {.key = "uci_network_wan6",
                                             .fields = qv_network_wan6_fields,
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
