// MAC access lists of the VAPs: upload status, settings, and removal from the configuration store.
#ifndef QV_WIRELESS_MACLIST_H
#define QV_WIRELESS_MACLIST_H

#include "agent/command.h"
#include "protocol/maclist_records.h"
#include "reports/report.h"

/// Asks for the upload status of one wifi interface; an unanswered query leaves `status` as it
/// was. The status is the wifi manager's own. Always returns 0.
int32_t qv_get_vap_maclist_status(int32_t& status, int32_t wifi_index);

/// As qv_json_build_msg, for the "uci_vap_maclist" report of one wifi interface. Always returns 0.
int32_t qv_json_build_msg_uci_vap_maclist(AgentContext& context, int32_t wifi_index,
                                          ReportBuffer& buffer, uint32_t& length);

/// Fills the record, which starts as zeros, from "data" -> "general_data" of a NUL-terminated
/// command text; what is missing stays zero. Always returns 0.
int32_t qv_json_parse_msg_get_maclist(MacListControl& record, const char* payload, uint32_t length);

/// Hands the record over. Returns 0 when the wifi manager took it, -1 otherwise.
int32_t qv_mgr_set_maclist(const MacListControl& record);

/// Command handler: publishes the upload status of the wifi interface whose index is the command's
/// text. Returns 0, or -1 for a text that cannot be an index, without a report.
CommandHandler qv_report_maclist_status;

/// Command handler: returns 0 when the wifi manager took the settings, -1 otherwise.
CommandHandler qv_set_maclist;

/// Command handler: deletes the lists of the selected wifi interfaces from the configuration
/// store; the radios keep them until the next reload. Always returns 0.
CommandHandler qv_delete_maclist;

#endif
