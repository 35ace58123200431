#include "wireless/vap_config.h"

#include "protocol/radio_vap_records.h"
#include "settings/section.h"

namespace {

constexpr SettingsSection FORM_1004 = {.command = COMMAND_SET_VAP_AND_REPORT,
                                       .apply = WIFI_MGR_SET_VAP_CONFIG_1004};
constexpr SettingsSection FORM_1006 = {.command = COMMAND_SET_VAP_1006,
                                       .apply = WIFI_MGR_SET_VAP_CONFIG_1006};
constexpr SettingsSection FORM_1007 = {.command = COMMAND_SET_VAP_1007,
                                       .apply = WIFI_MGR_SET_VAP_CONFIG_1007};

int32_t set(const SettingsSection& form, AgentContext& context, const char* payload) {
    VapRecord record{};
    return qv_set_section(form, qv_record_bytes(record), context, payload);
}

} // namespace

int32_t qv_set_vap_config_1004(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(FORM_1004, context, payload);
}

int32_t qv_set_vap_config_1006(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(FORM_1006, context, payload);
}

int32_t qv_set_vap_config_1007(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(FORM_1007, context, payload);
}
