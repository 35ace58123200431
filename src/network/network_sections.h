// The three network settings: what commands, wifi manager and log call each.
#ifndef QV_NETWORK_NETWORK_SECTIONS_H
#define QV_NETWORK_NETWORK_SECTIONS_H

#include "agent/pending_change.h"
#include "settings/section.h"

struct NetworkSection {
    NetworkPart part;
    const char* name;
    WifiMgrMsgId read; ///< the settings in force, the record of `settings.apply`
    SettingsSection settings;
};

/// In the order of their parts.
inline constexpr NetworkSection NETWORK_SECTIONS[NETWORK_PARTS] = {
    {.part = NetworkPart::lan,
     .name = "LAN",
     .read = WIFI_MGR_GET_NETWORK_LAN,
     .settings = {.command = COMMAND_SET_NETWORK_LAN, .apply = WIFI_MGR_SET_NETWORK_LAN}},
    {.part = NetworkPart::wan,
     .name = "WAN",
     .read = WIFI_MGR_GET_NETWORK_WAN,
     .settings = {.command = COMMAND_SET_NETWORK_WAN, .apply = WIFI_MGR_SET_NETWORK_WAN}},
    {.part = NetworkPart::wan6,
     .name = "WAN6",
     .read = WIFI_MGR_GET_NETWORK_WAN6,
     .settings = {.command = COMMAND_SET_NETWORK_WAN6,
                  .apply = WIFI_MGR_SET_NETWORK_WAN6,
                  .show_payload = true}},
};

constexpr const NetworkSection& qv_network_section(NetworkPart part) {
    return NETWORK_SECTIONS[static_cast<size_t>(part)];
}

#endif
