// The members of the access point's state as a constant table: how each is shown as JSON, and which
// messages read it or put another in its place.
#ifndef QV_SIMULATOR_STATE_MEMBERS_H
#define QV_SIMULATOR_STATE_MEMBERS_H

#include "protocol/record_fields.h"
#include "protocol/wifi_manager.h"

struct StateMember {
    const char* name;
    size_t offset; ///< in the AccessPoint, in bytes
    size_t size;
    const RecordTable* fields = nullptr; ///< an object; one row without key: that value alone
    const RecordList* list = nullptr;    ///< or an array
    WifiMgrMsgId read{};
    WifiMgrMsgId replace{};
    bool derived = false; ///< follows from other members
};

extern const std::span<const StateMember> STATE_MEMBERS;

#endif
