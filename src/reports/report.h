// Reports: the common envelope and the one builder over the catalogue.
#ifndef QV_REPORTS_REPORT_H
#define QV_REPORTS_REPORT_H

#include "agent/report_kind.h"
#include "platform/owned_text.h"
#include "protocol/reports.h"

#include <cstdint>
#include <utility>

struct AgentContext;

/// The text of one report. Its room stays for the next one: pages made for every large report
/// would take as long as writing it.
class ReportBuffer {
public:
    /// At least `size` bytes in place of the text, or none when memory is out: then it stays.
    char* room(size_t size) {
        if (size > size_) {
            OwnedText larger = qv_allocate_text(size);
            if (larger == nullptr) {
                return nullptr;
            }
            text_ = std::move(larger);
            size_ = size;
        }
        return text_.get();
    }

    /// NUL-terminated, by whoever has written it; empty before that.
    const char* text() const {
        return text_ == nullptr ? "" : text_.get();
    }

private:
    OwnedText text_;
    size_t size_ = 0;
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
