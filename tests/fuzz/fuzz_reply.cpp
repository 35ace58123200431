// Any bytes from the wifi manager: every report that is made of a reply must be valid JSON, in
// UTF-8.
#include "agent/context.h"
#include "fuzz.h"
#include "reports/report.h"

#include <cstdlib>
#include <cstring>

namespace {

void require_json(const char* text, uint32_t length) {
    json_tokener* const tokener = json_tokener_new();
    json_tokener_set_flags(tokener, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    const JsonPtr parsed(json_tokener_parse_ex(tokener, text, static_cast<int>(length)));
    const bool valid = json_tokener_get_error(tokener) == json_tokener_success &&
                       json_tokener_get_parse_end(tokener) == length && strlen(text) == length;
    json_tokener_free(tokener);
    if (!valid) {
        abort();
    }
}

} // namespace

/// The first byte picks the report, the others are the wifi manager's.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    FuzzAgent agent;
    fake().reply_to_others = Bytes(data + 1, data + size);
    ReportBuffer buffer;
    uint32_t length = 0;
    const std::span<const ReportKind> kinds = agent.context.report_kinds;
    qv_json_build_msg_of_type(agent.context, kinds[data[0] % kinds.size()].type, buffer, length, 1);
    require_json(buffer.text(), length);
    return 0;
}
