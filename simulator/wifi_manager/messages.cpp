#include "messages.h"

#include "applies.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr const char* UNKNOWN = "unknown message";
constexpr const char* OTHER_SIZE = "payload of another size";
constexpr size_t ANY_SIZE = SIZE_MAX;

/// A change that is more than the replacement of a record.
struct Apply {
    WifiMgrMsgId id;
    size_t request_size; ///< payload bytes that a request must have, or ANY_SIZE
    const char* (*apply)(AccessPoint& ap, Bytes request);
};
constexpr Apply APPLIES[] = {
    {WIFI_MGR_SET_FW_UPGRADE_STATUS, sizeof(uint32_t), qv_apply_upgrade_notice},
    {WIFI_MGR_SET_APCONFIGS, sizeof(ApConfigs), qv_apply_apconfigs},
    {WIFI_MGR_SET_VAP_CONFIG_1004, sizeof(VapRecord), qv_apply_vap},
    {WIFI_MGR_SET_VAP_CONFIG_1006, sizeof(VapRecord), qv_apply_vap},
    {WIFI_MGR_SET_RADIO_CONFIG, sizeof(RadioConfigRecord), qv_apply_radio},
    {WIFI_MGR_SET_VAP_CONFIG_1007, sizeof(VapRecord), qv_apply_vap},
    {WIFI_MGR_SET_GENERAL_DATA, ANY_SIZE, qv_apply_general_data},
};

const StateMember* find_member(uint8_t id, WifiMgrMsgId StateMember::*message) {
    const auto* const row = std::ranges::find(STATE_MEMBERS, id, message);
    return id == 0 || row == std::end(STATE_MEMBERS) ? nullptr : row;
}

void append(Reply& reply, Bytes bytes) {
    reply.insert(reply.end(), bytes.begin(), bytes.end());
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
    append(reply, qv_record_bytes(status));
}

} // namespace

bool qv_is_reading(uint8_t id) {
    return id == WIFI_MGR_GET_VAP_MACLIST_STATUS || find_member(id, &StateMember::read) != nullptr;
}

const char* qv_read(const AccessPoint& now, uint8_t id, Bytes request, Reply& reply) {
    const bool is_status = id == WIFI_MGR_GET_VAP_MACLIST_STATUS;
    if (request.size() != (is_status ? sizeof(int32_t) : 0)) {
        return OTHER_SIZE;
    }
    if (is_status) {
        read_maclist_status(now, request, reply);
    } else {
        const StateMember& member = *find_member(id, &StateMember::read);
        append(reply, qv_record_bytes(now).subspan(member.offset, member.size));
    }
    return nullptr;
}

const char* qv_apply(AccessPoint& ap, uint8_t id, Bytes request) {
    if (const StateMember* const member = find_member(id, &StateMember::replace)) {
        if (request.size() != member->size) {
            return OTHER_SIZE;
        }
        std::ranges::copy(request, qv_record_bytes(ap).subspan(member->offset).begin());
        return nullptr;
    }
    const auto* const row = std::ranges::find(APPLIES, id, &Apply::id);
    if (row == std::end(APPLIES)) {
        return UNKNOWN;
    }
    return row->request_size == ANY_SIZE || row->request_size == request.size()
               ? row->apply(ap, request)
               : OTHER_SIZE;
}
