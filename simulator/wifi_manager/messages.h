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

/// Whether the identifier only reads.
bool qv_is_reading(uint8_t id);

// Each returns why the request is refused, with nothing appended or changed, or none.

/// Appends the record that is asked for.
const char* qv_read(const AccessPoint& now, uint8_t id, Bytes request, Reply& reply);

/// Changes the access point.
const char* qv_apply(AccessPoint& ap, uint8_t id, Bytes request);

#endif
