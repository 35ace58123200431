#include "maintenance/fw_params.h"

#include "json/json_field.h"
#include "platform/log.h"
#include "protocol/commands.h"

#include <cstring>
#include <string_view>

namespace {

void log_unusual_bytes(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if ((byte < 0x20 || byte > 0x7E) && byte != '\n' && byte != '\r') {
            qv_log("Non-printable character detected at index %d: 0x%x\n", static_cast<int>(i),
                   byte);
        }
    }
}

} // namespace

RecordReading::Outcome qv_json_parse_msg_get_fw_params(FwParams& params, const char* payload,
                                                       uint32_t length) {
    if (length > FW_COMMAND_MAX) { // before a line for each of its bytes
        qv_log("QV_ERR: firmware upgrade refused: command text longer than %u bytes\n",
               FW_COMMAND_MAX);
        return RecordReading::too_long;
    }
    const std::string_view text(payload, strnlen(payload, length));
    log_unusual_bytes(text);
    qv_log("payload:%s\n", payload);
    const JsonPtr root = inet_recv_request(text.data(), static_cast<uint32_t>(text.size()));
    const CommandContract& contract = qv_command_contract(COMMAND_FW_UPGRADE);
    const RecordReading reading = qv_json_to_record(qv_command_data(root.get(), contract),
                                                    qv_record_bytes(params), *contract.fields);
    if (reading.outcome == RecordReading::too_long) {
        qv_log("QV_ERR: firmware upgrade refused: %s longer than %zu bytes\n", reading.field->key,
               reading.limit);
    }
    return reading.outcome;
}
