#include "reports/send_report.h"

#include "broker/publish.h"
#include "platform/log.h"
#include "reports/report.h"

void qv_send_report(AgentContext& context, ReportType type, const char* error_line,
                    int32_t argument) {
    static thread_local ReportBuffer buffer;
    uint32_t length = 0;
    if (qv_json_build_msg_of_type(context, type, buffer, length, argument) < 0) {
        qv_log("%s\n", error_line);
    }
    qv_mqtt_publish(context, buffer.text(), length);
}

void qv_send_updata_stats(AgentContext& context, int32_t status) {
    qv_send_report(context, REPORT_TYPE_UPDATA_STATS, "QV_ERR: failed to fetch updata info..",
                   status);
}
