#include "wireless/radio_config.h"

#include "platform/log.h"
#include "protocol/radio_vap_records.h"
#include "protocol/record_walk.h"
#include "reports/send_report.h"
#include "settings/section.h"
#include "wifimgr/channel.h"

int32_t qv_set_radio_config(AgentContext& context, const char* payload, uint32_t /*length*/) {
    RadioConfigRecord record{};
    const std::span<std::byte> bytes = qv_record_bytes(record);
    qv_read_section(COMMAND_SET_RADIO, bytes, payload);
    qv_log("\nplyload: %s\n", payload);
    qv_log("-------------------------------\n");
    qv_print_record(bytes, qv_radio_config_fields);
    qv_print_record(bytes, qv_first_vap_fields);
    qv_wifi_mgr_apply(WIFI_MGR_SET_RADIO_CONFIG, bytes);
    qv_send_report(context, REPORT_TYPE_UCI_RADIO_LIST, SYSTEM_STATS_ERROR);
    qv_log("qv_mgr_set_radio_config: done\n");
    return 0;
}
