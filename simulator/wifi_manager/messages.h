// What the wifi manager does with each message.
#ifndef QV_SIMULATOR_MESSAGES_H
#define QV_SIMULATOR_MESSAGES_H

#include "access_point.h"
#include "protocol/wifi_manager.h"

#include <cstddef>
#include <span>
#include <vector>

using Bytes = std::span<const std::byte>;
using Reply = std::vector<std::byte>;

inline constexpr size_t ANY_SIZE = SIZE_MAX;

/// One row per identifier: it either reads or applies.
struct Message {
    WifiMgrMsgId id;
    size_t request_size; ///< payload bytes that a request must have, or ANY_SIZE
    /// Appends the record that is asked for.
    void (*read)(const AccessPoint& now, Bytes request, Reply& reply);
    /// Changes the access point. Returns why not, with nothing changed, or none.
    const char* (*apply)(AccessPoint& ap, Bytes request);
};

/// The row of an identifier, or none.
const Message* qv_find_message(uint8_t id);

#endif
