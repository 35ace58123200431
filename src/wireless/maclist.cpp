#include "wireless/maclist.h"

#include "broker/session.h"
#include "platform/zendry_common.h"
#include "protocol/commands.h"
#include "protocol/record_fields.h"
#include "wifimgr/channel.h"
#include "json/json_field.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// Sections of the package "wireless" that hold the lists, and the flags that select them.
struct MacListSection {
    int32_t MacListControl::*flag;
    const char* section;
};
constexpr MacListSection MACLIST_SECTIONS[] = {
    {&MacListControl::wifi0Flag, "@wifi-iface[0]"},
    {&MacListControl::wifi1Flag, "@wifi-iface[1]"},
};

bool fill_maclist_status(AgentContext& /*context*/, json_object* body, int32_t wifi_index) {
    int32_t status = 0;
    qv_get_vap_maclist_status(status, wifi_index);
    return map_value_to_json_field(body, FIELD_TYPE_INT, "uploading_status", &status) == 1;
}

constexpr ReportKind UCI_VAP_MACLIST = {.kind = 0,
                                        .type = REPORT_TYPE_UCI_VAP_MACLIST,
                                        .data_key = "uci_vap_maclist",
                                        .body = ReportBody::object,
                                        .fill = fill_maclist_status};

} // namespace

int32_t qv_get_vap_maclist_status(int32_t& status, int32_t wifi_index) {
    qv_wifi_mgr_query(WIFI_MGR_GET_VAP_MACLIST_STATUS, qv_record_bytes(wifi_index),
                      qv_record_bytes(status));
    return 0;
}

int32_t qv_json_build_msg_uci_vap_maclist(AgentContext& context, int32_t wifi_index,
                                          ReportBuffer& buffer, uint32_t& length) {
    return qv_json_build_msg_of_row(context, UCI_VAP_MACLIST, wifi_index, buffer, length);
}

int32_t qv_json_parse_msg_get_maclist(MacListControl& record, const char* payload,
                                      uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(payload));
    qv_json_to_record(qv_json_path(root.get(), {"data", "general_data"}), qv_record_bytes(record),
                      qv_maclist_fields);
    return 0;
}

int32_t qv_mgr_set_maclist(const MacListControl& record) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_MACLIST, qv_record_bytes(record));
}

int32_t qv_report_maclist_status(AgentContext& context, const char* payload, uint32_t length) {
    char text[MACLIST_INDEX_MAX + 1] = {};
    GeneralData found = GeneralData::absent;
    qv_json_parse_msg_get_general_data(text, payload, length, &found);
    if (found == GeneralData::too_long) {
        printf("QV_ERR: wifi index refused: longer than %zu bytes\n", MACLIST_INDEX_MAX);
        return -1;
    }
    printf("\n-----wifi_index:%s----------\n", text);
    printf("\n-----wifi_index:len:%d----------\n", static_cast<int>(strlen(text)));
    ReportBuffer buffer;
    uint32_t report_length = 0;
    if (qv_json_build_msg_uci_vap_maclist(context, atoi(text), buffer, report_length) < 0) {
        puts("QV_ERR: failed to fetch wifi vap maclist..");
    }
    qv_mqtt_publish(context, buffer.text(), report_length);
    return 0;
}

int32_t qv_set_maclist(AgentContext& /*context*/, const char* payload, uint32_t length) {
    MacListControl record{};
    qv_json_parse_msg_get_maclist(record, payload, length);
    return qv_mgr_set_maclist(record);
}

int32_t qv_delete_maclist(AgentContext& /*context*/, const char* payload, uint32_t length) {
    MacListControl record{};
    qv_json_parse_msg_get_maclist(record, payload, length);
    uciInit();
    for (const MacListSection& row : MACLIST_SECTIONS) {
        if (record.*row.flag == 1) {
            uciDelete("wireless", row.section, "maclist");
            uciCommit("wireless");
        }
    }
    uciDestroy();
    return 0;
}
