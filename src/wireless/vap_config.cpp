#include "wireless/vap_config.h"

#include "protocol/record_fields.h"
#include "reports/report.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

namespace {

int32_t apply_command(const char* payload, uint32_t length, WifiMgrMsgId id) {
    VapRecord record{};
    qv_json_parse_msg_get_vap_config(record, payload, length);
    qv_print_vap_config(record);
    return qv_mgr_set_vap_config(record, id);
}

} // namespace

int32_t qv_get_vap_config(VapList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_VAP_CONFIG, qv_record_bytes(record));
    return 0;
}

int32_t qv_vap_config_to_json(json_object* array, const VapList& record) {
    return qv_append_records(array, record.records, record.num_vaps, qv_vap_fields);
}

int32_t qv_json_parse_msg_get_vap_config(VapRecord& record, const char* payload,
                                         uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(payload));
    qv_json_to_record(qv_json_path(root.get(), {"data", "vap_config"}), qv_record_bytes(record),
                      qv_vap_fields);
    return 0;
}

void qv_print_vap_config(const VapRecord& record) {
    qv_print_record(qv_record_bytes(record), qv_vap_fields);
}

int32_t qv_mgr_set_vap_config(const VapRecord& record, WifiMgrMsgId id) {
    return qv_wifi_mgr_apply(id, qv_record_bytes(record));
}

int32_t qv_set_vap_config_1004(AgentContext& context, const char* payload, uint32_t length) {
    const int32_t result = apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1004);
    qv_send_report(context, REPORT_UCI_VAP_LIST, SYSTEM_STATS_ERROR);
    return result;
}

int32_t qv_set_vap_config_1006(AgentContext& /*context*/, const char* payload, uint32_t length) {
    return apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1006);
}

int32_t qv_set_vap_config_1007(AgentContext& /*context*/, const char* payload, uint32_t length) {
    return apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1007);
}
