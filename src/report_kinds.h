// The catalogue of every report that the agent sends.
#ifndef QV_REPORT_KINDS_H
#define QV_REPORT_KINDS_H

#include "agent/report_kind.h"

#include <span>

extern const std::span<const ReportKind> qv_report_kinds;

#endif
