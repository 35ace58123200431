// Reports while memory runs out. A program of its own, because json-c is linked into it: the linker
// hands its allocations, and the agent's, to the functions below.
#include "protocol/radio_vap_records.h"
#include "protocol/record_walk.h"
#include "protocol/statistics_records.h"
#include "protocol/system_config_record.h"
#include "reports/report.h"
#include "support.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <json-c/json.h>

namespace {

int allocations_left = 0; ///< the last of them fails; 0: none is counted

bool fails() {
    if (allocations_left == 0 || --allocations_left > 0) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);

void* __wrap_malloc(size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
    return fails() ? nullptr : __real_realloc(block, size);
}
char* __wrap_strdup(const char* text) {
    return fails() ? nullptr : __real_strdup(text);
}
}

namespace {

/// A text that json-c prints in several steps.
template <size_t size>
void set_awkward_text(char (&field)[size]) {
    static_assert(size >= 8);
    memset(field, 'x', size);
    memcpy(field, "a\"b\n\\/\x01\xC3", 8);
}

JsonPtr new_settings(AgentContext& /*context*/, int32_t /*argument*/) {
    SystemConfigRecord record{};
    record.server_count = 2;
    set_awkward_text(record.hostname);
    set_awkward_text(record.enable_server);
    set_awkward_text(record.server[1]);
    return qv_record_to_json(qv_record_bytes(record), qv_system_config_fields);
}

JsonPtr new_access_points(AgentContext& /*context*/, int32_t /*argument*/) {
    ApStatsList record{};
    record.count = std::size(record.entries);
    for (ApStatsEntry& entry : record.entries) {
        set_awkward_text(entry.ssid);
    }
    return qv_list_to_json(qv_record_bytes(record), qv_ap_stats_list);
}

JsonPtr new_vaps(AgentContext& /*context*/, int32_t /*argument*/) {
    static VapList record{};
    record.num_vaps = 2;
    for (VapRecord& vap : record.records) {
        set_awkward_text(vap.ssid);
        vap.freqlist_len = 2 * sizeof vap.freqlist[0];
    }
    return qv_list_to_json(qv_record_bytes(record), qv_vap_list);
}

constexpr ReportKind REPORTS[] = {
    {.kind = 0, .type = REPORT_TYPE_UCI_SYSTEM, .data_key = "d", .body = new_settings},
    {.kind = 0, .type = REPORT_TYPE_AP_STATS, .data_key = "d", .body = new_access_points},
    {.kind = 0, .type = REPORT_TYPE_UCI_VAP_LIST, .data_key = "d", .body = new_vaps},
};

/// The report's text without what changes from one to the next; empty when there is none. Its nth
/// allocation fails; `reached` says whether there are so many.
std::string build(AgentContext& context, const ReportKind& row, int n, bool& reached) {
    ReportBuffer buffer;
    uint32_t length = 0;
    allocations_left = n;
    qv_json_build_msg_of_type(context, row.type, buffer, length);
    reached = allocations_left == 0;
    allocations_left = 0;
    std::string text = buffer.text();
    EXPECT_EQ(text.size(), length);
    const std::string before_digits = "\"timestamp\": ";
    const size_t place = text.find(before_digits);
    return place == text.npos ? text : text.replace(place + before_digits.size(), 13, "0");
}

/// Whether the text is JSON and the beginning of the whole but for the brackets that close it.
bool ends_early(const std::string& text, const std::string& whole) {
    const JsonPtr root(json_tokener_parse(text.c_str()));
    return root != nullptr && whole.starts_with(text.substr(0, text.find_last_not_of(" ]}") + 1));
}

} // namespace

using OutOfMemoryTest = AgentTest;

// A list or an object may end early; a hole in the text would make another report of it.
TEST_F(OutOfMemoryTest, NoReportHasAHole) {
    context.report_kinds = REPORTS;
    for (const ReportKind& row : REPORTS) {
        SCOPED_TRACE(row.type);
        bool reached = false;
        const std::string whole = build(context, row, 0, reached);
        int n = 0;
        do {
            const std::string text = build(context, row, ++n, reached);
            EXPECT_TRUE(text.empty() || ends_early(text, whole)) << n << ": " << text;
        } while (reached);
        EXPECT_EQ(build(context, row, n, reached), whole);
        EXPECT_GT(n, 30);
    }
}
