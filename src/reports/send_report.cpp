#include "reports/send_report.h"

#include "broker/session.h"
#include "reports/report.h"

#include <cstdio>

namespace {

void build_and_publish(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                       const char* error_line) {
    uint32_t length = 0;
    if (qv_json_build_msg(context, kind, buffer, length) < 0) {
        puts(error_line);
    }
    qv_mqtt_publish(context, buffer.text(), length);
}

} // namespace

void qv_send_report(AgentContext& context, int32_t kind, const char* error_line) {
    ReportBuffer buffer;
    build_and_publish(context, kind, buffer, error_line);
}

void qv_send_updata_stats(AgentContext& context, int32_t status) {
    ReportBuffer buffer;
    buffer.set_status(status);
    build_and_publish(context, REPORT_UPDATA_STATS, buffer,
                      "QV_ERR: failed to fetch updata info..");
}
