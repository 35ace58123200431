#include "wireless/general_data.h"

#include "json/json_field.h"
#include "platform/log.h"
#include "protocol/commands.h"
#include "wifimgr/channel.h"

#include <cstring>

int32_t qv_mgr_set_general_data(const char* text) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_GENERAL_DATA,
                             std::as_bytes(std::span(text, strlen(text) + 1)));
}

int32_t qv_set_general_data(AgentContext& /*context*/, const char* payload, uint32_t length) {
    qv_log("SUB MSG: payload=%s\n", payload);
    char text[GENERAL_DATA_MAX + 1] = {};
    GeneralData found = GeneralData::absent;
    qv_json_parse_msg_get_general_data(text, payload, length, &found);
    if (found == GeneralData::too_long) {
        qv_log("QV_ERR: general_data refused: longer than %zu bytes\n", GENERAL_DATA_MAX);
        return -1;
    }
    return qv_mgr_set_general_data(text);
}
