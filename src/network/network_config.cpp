#include "network/network_config.h"

#include "protocol/network_records.h"
#include "settings/section.h"

#include <array>

namespace {

constexpr SettingsSection LAN = {.command = COMMAND_SET_NETWORK_LAN,
                                 .apply = WIFI_MGR_SET_NETWORK_LAN};
constexpr SettingsSection WAN = {.command = COMMAND_SET_NETWORK_WAN,
                                 .apply = WIFI_MGR_SET_NETWORK_WAN};
constexpr SettingsSection WAN6 = {
    .command = COMMAND_SET_NETWORK_WAN6, .apply = WIFI_MGR_SET_NETWORK_WAN6, .show_payload = true};

static_assert(sizeof(LanConfigRecord) >= sizeof(WanConfigRecord) &&
              sizeof(LanConfigRecord) >= sizeof(Wan6ConfigRecord));

/// Sets a record of that size, which is at most LAN's.
int32_t set(const SettingsSection& section, size_t record_size, AgentContext& context,
            const char* payload) {
    std::array<std::byte, sizeof(LanConfigRecord)> record{};
    qv_set_section(section, std::span(record).first(record_size), context, payload);
    return 0;
}

} // namespace

int32_t qv_set_network_lan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(LAN, sizeof(LanConfigRecord), context, payload);
}

int32_t qv_set_network_wan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(WAN, sizeof(WanConfigRecord), context, payload);
}

int32_t qv_set_network_wan6(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(WAN6, sizeof(Wan6ConfigRecord), context, payload);
}
