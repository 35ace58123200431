// Shape of a row in the catalogue of reports.
#ifndef QV_AGENT_REPORT_KIND_H
#define QV_AGENT_REPORT_KIND_H

#include <cstdint>

struct AgentContext;
struct json_object;

enum class ReportBody : uint8_t { object, array, status };

/// Fills an empty body; false drops the report. `argument` is for a report outside the catalogue.
using ReportFill = bool(AgentContext& context, json_object* body, int32_t argument);

/// One row of the catalogue.
struct ReportKind {
    int32_t kind;         ///< a report kind number; 0 for a report with an entry point of its own
    int32_t type;         ///< "type" in the envelope
    const char* data_key; ///< the one member of "data"
    ReportBody body;
    ReportFill* fill = nullptr; ///< none for a status
    bool has_ip = true;         ///< whether the envelope carries "ip"
};

#endif
