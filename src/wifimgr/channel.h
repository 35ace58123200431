// The wifi-manager channel: one request, one reply.
#ifndef QV_WIFIMGR_CHANNEL_H
#define QV_WIFIMGR_CHANNEL_H

#include "protocol/wifi_manager.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// Exchanges are made from the controller thread, one at a time; the channel has no lock. A reply
// counts only when it carries the identifier of its request. Nothing is logged here.

/// Sends a request with the payload. When the reply counts, its payload is copied over the whole
/// record, zeros standing for bytes that the reply does not have. Otherwise, and when memory is
/// out, returns false and leaves the record untouched.
bool qv_wifi_mgr_query(WifiMgrMsgId id, std::span<const std::byte> payload,
                       std::span<std::byte> record);

/// A whole reply.
using WifiMgrReply = std::array<std::byte, WIFI_MGR_REPLY_MAX>;

/// A record that stays where it has arrived. All zeros when the reply does not count.
struct WifiMgrRecord {
    std::span<std::byte> bytes; ///< in the reply; of any alignment
    bool counts;
};

/// A query without payload, for a record of so many bytes.
WifiMgrRecord qv_wifi_mgr_read(WifiMgrMsgId id, WifiMgrReply& reply, size_t record_size);

/// Hands the payload over. Returns 0 when the reply counts, -1 otherwise.
int32_t qv_wifi_mgr_apply(WifiMgrMsgId id, std::span<const std::byte> payload);

/// Lets the wifi manager refresh its statistics. Returns the signed word of its reply, -1 when
/// there is none that counts.
int32_t qv_get_wifi_stats();

#endif
