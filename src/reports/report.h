// Reports: the common envelope and the one builder over the catalogue.
#ifndef QV_REPORTS_REPORT_H
#define QV_REPORTS_REPORT_H

#include "agent/report_kind.h"
#include "platform/owned_text.h"
#include "protocol/reports.h"
#include "json/json_scope.h"

#include <array>
#include <cstdint>
#include <string_view>

struct AgentContext;

/// The text of one report. It starts with room for 10240 bytes and grows with the report.
class ReportBuffer {
public:
    /// Before a build of REPORT_UPDATA_STATS the status stands in the first four bytes.
    void set_status(int32_t status);
    int32_t status() const;

    /// Takes a copy of the text with a NUL behind it. False, unchanged, when memory is out.
    bool assign(std::string_view text);

    /// NUL-terminated; empty before the first assign.
    const char* text() const;

private:
    std::array<char, 10240> small_{};
    OwnedText grown_; ///< instead of small_, for a report that does not fit it
};

/// Builds the report of a kind from the context's catalogue: the text goes into `buffer`, its
/// length without the NUL into `length`. Returns -1 for a kind that the catalogue does not hold,
/// otherwise 0; when memory is out there is no report, and buffer and length stay as they were.
int32_t qv_json_build_msg(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                          uint32_t& length);

/// The same for a report outside the catalogue, given its row and what its fill is to be told.
int32_t qv_json_build_msg_of_row(AgentContext& context, const ReportKind& row, int32_t argument,
                                 ReportBuffer& buffer, uint32_t& length);

/// Wall-clock time in milliseconds since 1970-01-01 00:00:00 UTC.
uint64_t qv_get_timestamp_ms();

/// Body of REPORT_DEVICE_DISCOVERY: the MAC address.
bool qv_fill_device_discovery(AgentContext& context, json_object* body, int32_t argument);

#endif
