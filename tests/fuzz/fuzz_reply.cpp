// Any bytes from the wifi manager: every report that is made of a reply must be valid JSON, in
// UTF-8.
#include "agent/context.h"
#include "fuzz.h"
#include "messages/report.h"
#include "wireless/maclist.h"

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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzAgent agent;
    fake().reply_to_others = Bytes(data, data + size);
    for (const ReportKind& row : agent.context.report_kinds) {
        ReportBuffer buffer;
        uint32_t length = 0;
        qv_json_build_msg(agent.context, row.kind, buffer, length);
        require_json(buffer.text(), length);
    }
    ReportBuffer buffer;
    uint32_t length = 0;
    qv_json_build_msg_uci_vap_maclist(agent.context, 1, buffer, length);
    require_json(buffer.text(), length);
    return 0;
}
