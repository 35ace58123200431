#include "wifimgr/channel.h"

#include "platform/owned_text.h"
#include "platform/zendry_common.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

const WifiMgrMessage& message_of(WifiMgrMsgId id) {
    return *std::ranges::find(WIFI_MGR_MESSAGES, id, &WifiMgrMessage::id);
}

/// Header and payload in one block of exactly their size, or none when memory is out.
OwnedText new_request(const WifiMgrMessage& message, std::span<const std::byte> payload) {
    const WifiMgrMsg header{.module = message.module,
                            .msg_id = message.id,
                            .reserved = {},
                            .length = static_cast<uint32_t>(payload.size())};
    OwnedText request = qv_allocate_text(sizeof header + payload.size());
    if (request != nullptr) {
        memcpy(request.get(), &header, sizeof header);
        std::ranges::copy(payload, reinterpret_cast<std::byte*>(request.get() + sizeof header));
    }
    return request;
}

} // namespace

bool qv_wifi_mgr_query(WifiMgrMsgId id, std::span<const std::byte> payload,
                       std::span<std::byte> record) {
    const WifiMgrMessage& message = message_of(id);
    std::array<std::byte, WIFI_MGR_REPLY_MAX> reply;
    memset(reply.data(), 0, message.reply_capacity);
    {
        const OwnedText request = new_request(message, payload);
        if (request == nullptr) {
            return false;
        }
        qv_ctrl_send_wifi_mgr_msg(request.get(),
                                  static_cast<uint32_t>(sizeof(WifiMgrMsg) + payload.size()),
                                  reply.data(), message.reply_capacity);
    }
    WifiMgrMsg header;
    memcpy(&header, reply.data(), sizeof header);
    if (header.msg_id != id) {
        return false;
    }
    const auto body = std::span(reply).first(message.reply_capacity).subspan(sizeof header);
    std::ranges::copy(body.first(std::min(record.size(), body.size())), record.begin());
    return true;
}

bool qv_wifi_mgr_read(WifiMgrMsgId id, std::span<std::byte> record) {
    return qv_wifi_mgr_query(id, {}, record);
}

int32_t qv_wifi_mgr_apply(WifiMgrMsgId id, std::span<const std::byte> payload) {
    return qv_wifi_mgr_query(id, payload, {}) ? 0 : -1;
}

int32_t qv_get_wifi_stats() {
    int32_t word = 0;
    return qv_wifi_mgr_read(WIFI_MGR_GET_WIFI_STATS, std::as_writable_bytes(std::span(&word, 1)))
               ? word
               : -1;
}
