// Reports: the common envelope and the one builder over the catalogue.
#ifndef QV_REPORTS_REPORT_H
#define QV_REPORTS_REPORT_H

#include "agent/report_kind.h"
#include "platform/owned_text.h"
#include "protocol/reports.h"

#include <cstdint>
#include <utility>

struct AgentContext;

/// The text of one report, as long as that is.
class ReportBuffer {
public:
    /// Takes a NUL-terminated text instead of its own.
    void take(OwnedText text) {
        text_ = std::move(text);
    }

    /// NUL-terminated; empty before the first take.
    const char* text() const {
        return text_ == nullptr ? "" : text_.get();
    }

private:
    OwnedText text_;
};

/// Builds the report of a kind from the context's catalogue: the text goes into `buffer`, its
/// length without the NUL into `length`. `argument` is for the record of those kinds that take one.
/// Returns -1 for a kind that the catalogue does not hold, otherwise 0; when memory is out there is
/// no report, and buffer and length stay as they were.
int32_t qv_json_build_msg(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                          uint32_t& length, int32_t argument = 0);

/// The same by the report's type.
int32_t qv_json_build_msg_of_type(AgentContext& context, ReportType type, ReportBuffer& buffer,
                                  uint32_t& length, int32_t argument = 0);

/// Wall-clock time in milliseconds since 1970-01-01 00:00:00 UTC.
uint64_t qv_get_timestamp_ms();

// Records of the agent's own: the MAC address, and the status of a firmware job.
ReportRecord qv_fill_device_discovery;
ReportRecord qv_fill_updata_stats;

#endif
