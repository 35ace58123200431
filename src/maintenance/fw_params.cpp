#include "maintenance/fw_params.h"

#include "protocol/commands.h"
#include "json/json_field.h"

#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

namespace {

void log_unusual_bytes(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if ((byte < 0x20 || byte > 0x7E) && byte != '\n' && byte != '\r') {
            printf("Non-printable character detected at index %d: 0x%x\n", static_cast<int>(i),
                   byte);
        }
    }
}

bool fits(json_object* fw_params, const char* key, std::span<const char> destination) {
    return qv_json_value_text(qv_json_member(fw_params, key)).size() < destination.size();
}

FwParamsResult read_fields(FwParams& params, json_object* fw_params) {
    for (const FwField& row : qv_fw_fields) {
        const std::span<char> destination = row.field(params);
        if (!fits(fw_params, row.key, destination)) {
            printf("QV_ERR: firmware upgrade refused: %s longer than %zu bytes\n", row.key,
                   destination.size() - 1);
            return FwParamsResult::too_long;
        }
        if (map_json_field_to_value(fw_params, FIELD_TYPE_STRING, row.key, destination) == 0) {
            return FwParamsResult::incomplete;
        }
    }
    return FwParamsResult::complete;
}

} // namespace

FwParamsResult qv_json_parse_msg_get_fw_params(FwParams& params, const char* payload,
                                               uint32_t length) {
    const std::string_view text(payload, strnlen(payload, length));
    log_unusual_bytes(text);
    printf("payload:%s\n", payload);
    if (length > FW_COMMAND_MAX) {
        printf("QV_ERR: firmware upgrade refused: command text longer than %u bytes\n",
               FW_COMMAND_MAX);
        return FwParamsResult::too_long;
    }
    const JsonPtr root = inet_recv_request(text.data(), static_cast<uint32_t>(text.size()));
    return read_fields(params, qv_json_path(root.get(), {"data", "fw_params"}));
}
