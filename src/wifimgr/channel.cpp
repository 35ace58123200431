#include "wifimgr/channel.h"

#include "platform/owned_text.h"
#include "platform/zendry_common.h"

#include <algorithm>
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

/// The reply's record, or none of it when the reply does not count.
std::span<std::byte> exchange(WifiMgrMsgId id, std::span<const std::byte> payload,
                              WifiMgrReply& reply, size_t record_size) {
    const WifiMgrMessage& message = message_of(id);
    const std::span<std::byte> head = std::span(reply).first(sizeof(WifiMgrMsg) + record_size);
    memset(head.data(), 0, head.size());
    const OwnedText request = new_request(message, payload);
    if (request == nullptr) {
        return {};
    }
    qv_ctrl_send_wifi_mgr_msg(request.get(),
                              static_cast<uint32_t>(sizeof(WifiMgrMsg) + payload.size()),
                              reply.data(), message.reply_capacity);
    WifiMgrMsg header;
    memcpy(&header, reply.data(), sizeof header);
    return header.msg_id == id ? head.subspan(sizeof header) : std::span<std::byte>();
}

} // namespace

bool qv_wifi_mgr_query(WifiMgrMsgId id, std::span<const std::byte> payload,
                       std::span<std::byte> record) {
    WifiMgrReply reply;
    const std::span<std::byte> answered = exchange(id, payload, reply, record.size());
    std::ranges::copy(answered, record.begin());
    return answered.data() != nullptr;
}

WifiMgrRecord qv_wifi_mgr_read(WifiMgrMsgId id, WifiMgrReply& reply, size_t record_size) {
    const std::span<std::byte> answered = exchange(id, {}, reply, record_size);
    if (answered.data() != nullptr) {
        return {.bytes = answered, .counts = true};
    }
    const std::span<std::byte> zeros = std::span(reply).first(record_size);
    memset(zeros.data(), 0, zeros.size());
    return {.bytes = zeros, .counts = false};
}

int32_t qv_wifi_mgr_apply(WifiMgrMsgId id, std::span<const std::byte> payload) {
    return qv_wifi_mgr_query(id, payload, {}) ? 0 : -1;
}

int32_t qv_get_wifi_stats() {
    int32_t word = 0;
    return qv_wifi_mgr_query(WIFI_MGR_GET_WIFI_STATS, {},
                             std::as_writable_bytes(std::span(&word, 1)))
               ? word
               : -1;
}
