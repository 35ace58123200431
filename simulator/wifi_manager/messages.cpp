#include "messages.h"

#include "applies.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

template <class Value>
void append(Reply& reply, const Value& value) {
    const Bytes bytes = std::as_bytes(std::span(&value, 1));
    reply.insert(reply.end(), bytes.begin(), bytes.end());
}

template <auto member>
void read_member(const AccessPoint& now, Bytes, Reply& reply) {
    append(reply, now.*member);
}

template <auto member>
const char* replace_member(AccessPoint& ap, Bytes request) {
    std::memcpy(&(ap.*member), request.data(), request.size());
    return nullptr;
}

/// The status of an interface is the size of the list last set for it, -1 without such interface.
void read_maclist_status(const AccessPoint& now, Bytes request, Reply& reply) {
    const MacListControl& list = now.maclist;
    const std::array flags = {list.wifi0Flag, list.wifi1Flag};
    uint32_t index;
    std::memcpy(&index, request.data(), sizeof index);
    int32_t status = -1;
    if (index < flags.size()) {
        status = flags[index] == 1 ? list.maclist_size : 0;
    }
    append(reply, status);
}

template <auto member>
constexpr Message reads(WifiMgrMsgId id) {
    return {id, 0, read_member<member>, nullptr};
}

template <auto member>
constexpr Message replaces(WifiMgrMsgId id) {
    return {id, sizeof(AccessPoint{}.*member), nullptr, replace_member<member>};
}

using AP = AccessPoint;

constexpr Message MESSAGES[] = {
    reads<&AP::wifi_stats>(WIFI_MGR_GET_WIFI_STATS),
    reads<&AP::ap_stats>(WIFI_MGR_GET_AP_STATS),
    reads<&AP::stations>(WIFI_MGR_GET_STA_STATS),
    reads<&AP::system>(WIFI_MGR_GET_SYSTEM_STATS),
    reads<&AP::radios>(WIFI_MGR_GET_RADIO_CONFIG),
    reads<&AP::interfaces>(WIFI_MGR_GET_INTERFACE_STATS),
    {WIFI_MGR_SET_FW_UPGRADE_STATUS, sizeof(uint32_t), nullptr, qv_apply_upgrade_notice},
    {WIFI_MGR_SET_APCONFIGS, sizeof(ApConfigs), nullptr, qv_apply_apconfigs},
    replaces<&AP::system_config>(WIFI_MGR_SET_SYSTEM_CONFIG),
    reads<&AP::system_config>(WIFI_MGR_GET_SYSTEM_CONFIG),
    reads<&AP::radio_stats>(WIFI_MGR_GET_RADIO_STATS),
    replaces<&AP::lan>(WIFI_MGR_SET_NETWORK_LAN),
    reads<&AP::lan>(WIFI_MGR_GET_NETWORK_LAN),
    {WIFI_MGR_SET_VAP_CONFIG_1004, sizeof(VapRecord), nullptr, qv_apply_vap},
    reads<&AP::vaps>(WIFI_MGR_GET_VAP_CONFIG),
    replaces<&AP::wan>(WIFI_MGR_SET_NETWORK_WAN),
    reads<&AP::wan>(WIFI_MGR_GET_NETWORK_WAN),
    replaces<&AP::wan6>(WIFI_MGR_SET_NETWORK_WAN6),
    reads<&AP::wan6>(WIFI_MGR_GET_NETWORK_WAN6),
    {WIFI_MGR_SET_VAP_CONFIG_1006, sizeof(VapRecord), nullptr, qv_apply_vap},
    {WIFI_MGR_SET_RADIO_CONFIG, sizeof(RadioConfigRecord), nullptr, qv_apply_radio},
    {WIFI_MGR_SET_VAP_CONFIG_1007, sizeof(VapRecord), nullptr, qv_apply_vap},
    {WIFI_MGR_GET_VAP_MACLIST_STATUS, sizeof(int32_t), read_maclist_status, nullptr},
    replaces<&AP::maclist>(WIFI_MGR_SET_MACLIST),
    {WIFI_MGR_SET_GENERAL_DATA, ANY_SIZE, nullptr, qv_apply_general_data},
};

} // namespace

const Message* qv_find_message(uint8_t id) {
    const auto* const row = std::ranges::find(MESSAGES, id, &Message::id);
    return row == std::end(MESSAGES) ? nullptr : row;
}
