// Reports: the common envelope and the one builder over the catalogue.
#ifndef QV_REPORTS_REPORT_H
#define QV_REPORTS_REPORT_H

#include "agent/report_kind.h"
#include "json/json_scope.h"
#include "platform/owned_text.h"
#include "protocol/reports.h"

#include <array>
#include <cstdint>
#include <string_view>

struct AgentContext;

/// The text of one report. It starts with room for 10240 bytes and grows with the report.
class ReportBuffer {
public:
    /// Takes a copy of the text with a NUL behind it. False, unchanged, when memory is out.
    bool assign(std::string_view text);

    /// NUL-terminated; empty before the first assign.
    const char* text() const;

private:
    std::array<char, 10240> small_{};
    OwnedText grown_; ///< instead of small_, for a report that does not fit it
};

/// Builds the report of a kind from the context's catalogue: the text goes into `buffer`, its
/// length without the NUL into `length`. `argument` is for the body of those kinds that take one.
/// Returns -1 for a kind that the catalogue does not hold, otherwise 0; when memory is out there is
/// no report, and buffer and length stay as they were.
int32_t qv_json_build_msg(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                          uint32_t& length, int32_t argument = 0);

/// The same by the report's type.
int32_t qv_json_build_msg_of_type(AgentContext& context, ReportType type, ReportBuffer& buffer,
                                  uint32_t& length, int32_t argument = 0);

/// Wall-clock time in milliseconds since 1970-01-01 00:00:00 UTC.
uint64_t qv_get_timestamp_ms();

// Bodies that are no records: the MAC address, and the status of a firmware job.
ReportBody qv_new_device_discovery;
ReportBody qv_new_updata_stats;

#endif
