// What is special about the statistics that are reported.
#ifndef QV_REPORTS_STATISTICS_H
#define QV_REPORTS_STATISTICS_H

#include "agent/report_kind.h"

/// SystemStats: prints the hardware's name.
ReportRecordHook qv_show_system_stats;

/// ApStatsList: prints its count.
ReportRecordHook qv_show_ap_stats;

/// RadioStatsList: takes out the radios that are not in use.
ReportRecordHook qv_drop_unused_radios;

#endif
