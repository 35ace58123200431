// MAC access lists of the VAPs: upload status, settings, and removal from the configuration store.
#ifndef QV_WIRELESS_MACLIST_H
#define QV_WIRELESS_MACLIST_H

#include "agent/command.h"
#include "agent/report_kind.h"

/// MacListStatus of one wifi interface, whose index is the argument: 0 when the wifi manager does
/// not answer.
ReportRecord qv_read_maclist_status;

/// Command handler: publishes the upload status of the wifi interface whose index is the command's
/// text. Returns 0, or -1 for a text that cannot be an index, without a report.
CommandHandler qv_report_maclist_status;

/// Command handler: returns 0 when the wifi manager took the settings, -1 otherwise.
CommandHandler qv_set_maclist;

/// Command handler: deletes the lists of the selected wifi interfaces from the configuration
/// store; the radios keep them until the next reload. Always returns 0.
CommandHandler qv_delete_maclist;

#endif
