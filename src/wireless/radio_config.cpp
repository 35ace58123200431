#include "wireless/radio_config.h"

#include "protocol/record_fields.h"
#include "reports/report.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

#include <cstdio>

int32_t qv_get_radio_config(RadioList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_RADIO_CONFIG, qv_record_bytes(record));
    return 0;
}

int32_t qv_radio_config_to_json(json_object* array, const RadioList& record) {
    qv_append_records(array, record.entries, record.count, qv_radio_fields);
    return 0;
}

int32_t qv_json_parse_msg_get_radio_config(RadioConfigRecord& record, const char* payload,
                                           uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(payload));
    json_object* const general_data = qv_json_path(root.get(), {"data", "general_data"});
    qv_json_to_record(general_data, qv_record_bytes(record), qv_radio_config_fields);
    json_object* const vap_list = qv_json_member(general_data, "vap_list");
    if (json_object_is_type(vap_list, json_type_array) != 0) {
        qv_json_to_record(json_object_array_get_idx(vap_list, 0), qv_record_bytes(record),
                          qv_first_vap_fields);
    }
    return 0;
}

void qv_print_radio_config(const RadioConfigRecord& record) {
    qv_print_record(qv_record_bytes(record), qv_radio_config_fields);
    qv_print_record(qv_record_bytes(record), qv_first_vap_fields);
}

int32_t qv_mgr_set_radio_config(const RadioConfigRecord& record) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_RADIO_CONFIG, qv_record_bytes(record));
}

int32_t qv_set_radio_config(AgentContext& context, const char* payload, uint32_t length) {
    RadioConfigRecord record{};
    qv_json_parse_msg_get_radio_config(record, payload, length);
    printf("\nplyload: %s\n", payload);
    puts("-------------------------------");
    qv_print_radio_config(record);
    qv_mgr_set_radio_config(record);
    qv_send_report(context, REPORT_UCI_RADIO_LIST, SYSTEM_STATS_ERROR);
    puts("qv_mgr_set_radio_config: done");
    return 0;
}
