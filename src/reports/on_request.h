// Reports that the controller asks for by command.
#ifndef QV_REPORTS_ON_REQUEST_H
#define QV_REPORTS_ON_REQUEST_H

#include "agent/command.h"
#include "platform/log.h"
#include "protocol/commands.h"
#include "reports/send_report.h"

/// Handler that publishes the report that answers the command; `show_payload` prints the command
/// text first. Always returns 0.
template <CommandType type, bool show_payload, const char* error_line>
int32_t qv_report_on_request(AgentContext& context, const char* payload, uint32_t /*length*/) {
    if constexpr (show_payload) {
        qv_log("SUB MSG:payload=%s\n", payload);
    }
    qv_send_report(context, qv_command_contract(type).answer, error_line);
    return 0;
}

#endif
