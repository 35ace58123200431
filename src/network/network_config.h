// Network settings: LAN, WAN and WAN6, reported and applied. The three differ only by the rows
// below; the operations are written once.
#ifndef QV_NETWORK_NETWORK_CONFIG_H
#define QV_NETWORK_NETWORK_CONFIG_H

#include "agent/command.h"
#include "broker/send_report.h"
#include "messages/json_scope.h"
#include "messages/record_fields.h"
#include "messages/report.h"
#include "network/network_records.h"
#include "wifimgr/channel.h"

#include <cstdint>
#include <cstdio>
#include <span>

/// One kind of network settings.
struct NetworkSettings {
    const char* key; ///< member of the command's "data" that holds the settings
    std::span<const RecordField> fields;
    WifiMgrMsgId apply;
    WifiMgrMsgId read;
    ReportKindNumber report;
    bool show_payload; ///< the handler prints the command text first
};

extern const NetworkSettings NETWORK_LAN;
extern const NetworkSettings NETWORK_WAN;
extern const NetworkSettings NETWORK_WAN6;

/// Fills a cleared record from a NUL-terminated command text; without its settings object the
/// record stays as it is. Always returns 0.
template <const NetworkSettings& settings, class Record>
int32_t qv_json_parse_msg_get_network(Record& record, const char* text, uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(text));
    qv_json_to_record(qv_json_path(root.get(), {"data", settings.key}), qv_record_bytes(record),
                      settings.fields);
    return 0;
}

/// Prints one line per field.
template <const NetworkSettings& settings, class Record>
void qv_print_network(const Record& record) {
    qv_print_record(qv_record_bytes(record), settings.fields);
}

/// Hands the record to the wifi manager: 0 when it answers, otherwise -1.
template <const NetworkSettings& settings, class Record>
int32_t qv_mgr_set_network(const Record& record) {
    return qv_wifi_mgr_apply(settings.apply, qv_record_bytes(record));
}

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
template <const NetworkSettings& settings, class Record>
int32_t qv_get_network(Record& record) {
    qv_wifi_mgr_read(settings.read, qv_record_bytes(record));
    return 0;
}

/// Adds every field to the body, as a string. Always returns 0.
template <const NetworkSettings& settings, class Record>
int32_t qv_network_to_json(json_object* body, const Record& record) {
    qv_record_to_json(body, qv_record_bytes(record), settings.fields);
    return 0;
}

/// Handler of the command that replaces the settings; a member that it omits becomes empty.
/// Publishes the settings as the wifi manager then holds them. Always returns 0.
template <const NetworkSettings& settings, class Record>
int32_t qv_set_network(AgentContext& context, const char* payload, uint32_t length) {
    if (settings.show_payload) {
        printf("SUB MSG:payload=%s\n", payload);
    }
    Record record{};
    qv_json_parse_msg_get_network<settings>(record, payload, length);
    qv_print_network<settings>(record);
    qv_mgr_set_network<settings>(record);
    qv_send_report(context, settings.report, SYSTEM_STATS_ERROR);
    return 0;
}

// The operations by their names.

inline constexpr auto qv_json_parse_msg_get_network_lan =
    qv_json_parse_msg_get_network<NETWORK_LAN, LanConfigRecord>;
inline constexpr auto qv_print_network_lan = qv_print_network<NETWORK_LAN, LanConfigRecord>;
inline constexpr auto qv_mgr_set_network_lan = qv_mgr_set_network<NETWORK_LAN, LanConfigRecord>;
inline constexpr auto qv_get_network_lan = qv_get_network<NETWORK_LAN, LanConfigRecord>;
inline constexpr auto qv_network_lan_to_json = qv_network_to_json<NETWORK_LAN, LanConfigRecord>;
inline constexpr auto qv_set_network_lan = qv_set_network<NETWORK_LAN, LanConfigRecord>;

inline constexpr auto qv_json_parse_msg_get_network_wan =
    qv_json_parse_msg_get_network<NETWORK_WAN, WanConfigRecord>;
inline constexpr auto qv_print_network_wan = qv_print_network<NETWORK_WAN, WanConfigRecord>;
inline constexpr auto qv_mgr_set_network_wan = qv_mgr_set_network<NETWORK_WAN, WanConfigRecord>;
inline constexpr auto qv_get_network_wan = qv_get_network<NETWORK_WAN, WanConfigRecord>;
inline constexpr auto qv_network_wan_to_json = qv_network_to_json<NETWORK_WAN, WanConfigRecord>;
inline constexpr auto qv_set_network_wan = qv_set_network<NETWORK_WAN, WanConfigRecord>;

inline constexpr auto qv_json_parse_msg_get_network_wan6 =
    qv_json_parse_msg_get_network<NETWORK_WAN6, Wan6ConfigRecord>;
inline constexpr auto qv_print_network_wan6 = qv_print_network<NETWORK_WAN6, Wan6ConfigRecord>;
inline constexpr auto qv_mgr_set_network_wan6 = qv_mgr_set_network<NETWORK_WAN6, Wan6ConfigRecord>;
inline constexpr auto qv_get_network_wan6 = qv_get_network<NETWORK_WAN6, Wan6ConfigRecord>;
inline constexpr auto qv_network_wan6_to_json = qv_network_to_json<NETWORK_WAN6, Wan6ConfigRecord>;
inline constexpr auto qv_set_network_wan6 = qv_set_network<NETWORK_WAN6, Wan6ConfigRecord>;

#endif
