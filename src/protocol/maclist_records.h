// Settings of the MAC access lists, as the wifi manager takes them: host byte order.
#ifndef QV_PROTOCOL_MACLIST_RECORDS_H
#define QV_PROTOCOL_MACLIST_RECORDS_H

#include "protocol/record_fields.h"

#include <cstddef>
#include <cstdint>

struct MacListControl {
    int32_t maclist_size;
    int32_t wifi0Flag; ///< 1 selects the first wifi interface
    int32_t wifi1Flag; ///< 1 selects the second wifi interface
};
static_assert(sizeof(MacListControl) == 12);
static_assert(offsetof(MacListControl, wifi0Flag) == 4);
static_assert(offsetof(MacListControl, wifi1Flag) == 8);

extern const RecordTable qv_maclist_fields;

#endif
