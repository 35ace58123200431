// The request/response record of the wifi manager and the table of every message in use.
#ifndef QV_PROTOCOL_WIFI_MANAGER_H
#define QV_PROTOCOL_WIFI_MANAGER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// Header of every request and reply, in host byte order; the payload follows at offset 8.
struct WifiMgrMsg {
    uint8_t module;      ///< message family
    uint8_t msg_id;      ///< a reply carries the identifier of its request
    uint8_t reserved[2]; ///< 0 in requests, not read in replies
    uint32_t length;     ///< payload bytes behind the header; not read in replies
};
static_assert(sizeof(WifiMgrMsg) == 8);
static_assert(offsetof(WifiMgrMsg, msg_id) == 1);
static_assert(offsetof(WifiMgrMsg, length) == 4);

enum WifiMgrMsgId : uint8_t {
    WIFI_MGR_GET_WIFI_STATS = 1,
    WIFI_MGR_GET_AP_STATS = 2,
    WIFI_MGR_GET_STA_STATS = 3,
    WIFI_MGR_GET_SYSTEM_STATS = 4,
    WIFI_MGR_GET_RADIO_CONFIG = 5,
    WIFI_MGR_GET_INTERFACE_STATS = 6,
    WIFI_MGR_SET_FW_UPGRADE_STATUS = 8,
    WIFI_MGR_SET_APCONFIGS = 9,
    WIFI_MGR_SET_SYSTEM_CONFIG = 10,
    WIFI_MGR_GET_SYSTEM_CONFIG = 11,
    WIFI_MGR_GET_RADIO_STATS = 12,
    WIFI_MGR_SET_NETWORK_LAN = 13,
    WIFI_MGR_GET_NETWORK_LAN = 14,
    WIFI_MGR_SET_VAP_CONFIG_1004 = 15,
    WIFI_MGR_GET_VAP_CONFIG = 16,
    WIFI_MGR_SET_NETWORK_WAN = 17,
    WIFI_MGR_GET_NETWORK_WAN = 18,
    WIFI_MGR_SET_NETWORK_WAN6 = 19,
    WIFI_MGR_GET_NETWORK_WAN6 = 20,
    WIFI_MGR_SET_VAP_CONFIG_1006 = 21,
    WIFI_MGR_SET_RADIO_CONFIG = 22,
    WIFI_MGR_SET_VAP_CONFIG_1007 = 23,
    WIFI_MGR_GET_VAP_MACLIST_STATUS = 24,
    WIFI_MGR_SET_MACLIST = 25,
    WIFI_MGR_SET_GENERAL_DATA = 26,
};

enum WifiMgrModule : uint8_t {
    WIFI_MGR_MODULE_WIRELESS = 1, ///< wireless, statistics and general messages
    WIFI_MGR_MODULE_SYSTEM = 2,
    WIFI_MGR_MODULE_NETWORK = 3,
};

/// One kind of exchange. All sizes in bytes.
struct WifiMgrMessage {
    WifiMgrMsgId id;
    WifiMgrModule module;
    uint32_t reply_capacity;
};

inline constexpr std::array WIFI_MGR_MESSAGES = {
    WifiMgrMessage{WIFI_MGR_GET_WIFI_STATS, WIFI_MGR_MODULE_WIRELESS, 9000},
    WifiMgrMessage{WIFI_MGR_GET_AP_STATS, WIFI_MGR_MODULE_WIRELESS, 9000},
    WifiMgrMessage{WIFI_MGR_GET_STA_STATS, WIFI_MGR_MODULE_WIRELESS, 18000},
    WifiMgrMessage{WIFI_MGR_GET_SYSTEM_STATS, WIFI_MGR_MODULE_WIRELESS, 2000},
    WifiMgrMessage{WIFI_MGR_GET_RADIO_CONFIG, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_GET_INTERFACE_STATS, WIFI_MGR_MODULE_WIRELESS, 9000},
    WifiMgrMessage{WIFI_MGR_SET_FW_UPGRADE_STATUS, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_APCONFIGS, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_SYSTEM_CONFIG, WIFI_MGR_MODULE_SYSTEM, 27000},
    WifiMgrMessage{WIFI_MGR_GET_SYSTEM_CONFIG, WIFI_MGR_MODULE_SYSTEM, 27000},
    WifiMgrMessage{WIFI_MGR_GET_RADIO_STATS, WIFI_MGR_MODULE_WIRELESS, 9000},
    WifiMgrMessage{WIFI_MGR_SET_NETWORK_LAN, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_GET_NETWORK_LAN, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_SET_VAP_CONFIG_1004, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_GET_VAP_CONFIG, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_NETWORK_WAN, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_GET_NETWORK_WAN, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_SET_NETWORK_WAN6, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_GET_NETWORK_WAN6, WIFI_MGR_MODULE_NETWORK, 27000},
    WifiMgrMessage{WIFI_MGR_SET_VAP_CONFIG_1006, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_RADIO_CONFIG, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_VAP_CONFIG_1007, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_GET_VAP_MACLIST_STATUS, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_MACLIST, WIFI_MGR_MODULE_WIRELESS, 27000},
    WifiMgrMessage{WIFI_MGR_SET_GENERAL_DATA, WIFI_MGR_MODULE_WIRELESS, 27000},
};

/// Largest reply that is taken, its header included.
inline constexpr uint32_t WIFI_MGR_REPLY_MAX =
    std::ranges::max(WIFI_MGR_MESSAGES, {}, &WifiMgrMessage::reply_capacity).reply_capacity;

#endif
