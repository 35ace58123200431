// Building a report and publishing it, as every handler does.
#ifndef QV_REPORTS_SEND_REPORT_H
#define QV_REPORTS_SEND_REPORT_H

#include "protocol/reports.h"

#include <cstdint>

struct AgentContext;

/// Printed for a report that the catalogue refuses, by the handlers of several types.
inline constexpr char RADIO_STATS_ERROR[] = "QV_ERR: failed to fetch radio stats..";
inline constexpr char SYSTEM_STATS_ERROR[] = "QV_ERR: failed to fetch system stats..";

/// Builds the report of a type, with the argument that its body may take, and publishes it; when
/// the catalogue does not hold it, prints `error_line` and publishes an empty message.
void qv_send_report(AgentContext& context, ReportType type, const char* error_line,
                    int32_t argument = 0);

/// Publishes the status of a firmware job.
void qv_send_updata_stats(AgentContext& context, int32_t status);

#endif
