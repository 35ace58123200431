#include "network/network_config.h"

#include "protocol/network_records.h"
#include "settings/section.h"

namespace {

constexpr SettingsSection LAN = {.command = COMMAND_SET_NETWORK_LAN,
                                 .apply = WIFI_MGR_SET_NETWORK_LAN};
constexpr SettingsSection WAN = {.command = COMMAND_SET_NETWORK_WAN,
                                 .apply = WIFI_MGR_SET_NETWORK_WAN};
constexpr SettingsSection WAN6 = {
    .command = COMMAND_SET_NETWORK_WAN6, .apply = WIFI_MGR_SET_NETWORK_WAN6, .show_payload = true};

template <class Record>
int32_t set(const SettingsSection& section, AgentContext& context, const char* payload) {
    Record record{};
    qv_set_section(section, qv_record_bytes(record), context, payload);
    return 0;
}

} // namespace

int32_t qv_set_network_lan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set<LanConfigRecord>(LAN, context, payload);
}

int32_t qv_set_network_wan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set<WanConfigRecord>(WAN, context, payload);
}

int32_t qv_set_network_wan6(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set<Wan6ConfigRecord>(WAN6, context, payload);
}
