#include "wireless/ap_configs.h"

#include "json/json_field.h"
#include "platform/log.h"
#include "protocol/ap_configs_records.h"
#include "protocol/commands.h"
#include "protocol/record_walk.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace {

void refuse(const RecordReading& reading) {
    constexpr const char* LISTS[] = {"radio", "vap"};
    std::array<char, 64> place{};
    size_t used = 0;
    for (size_t i = 0; i < std::min(reading.depth, std::size(LISTS)); ++i) {
        used += static_cast<size_t>(snprintf(place.data() + used, place.size() - used, "%s %zu, ",
                                             LISTS[i], reading.entries[i]));
    }
    qv_log("QV_ERR: apconfigs refused: %s%s: length %zu, at most %zu\n", place.data(),
           reading.field->key, reading.length, reading.limit);
}

} // namespace

int32_t qv_set_ap_configs(AgentContext& /*context*/, const char* payload, uint32_t length) {
    const CommandContract& contract = qv_command_contract(COMMAND_SET_APCONFIGS);
    const JsonPtr root =
        inet_recv_request(payload, static_cast<uint32_t>(strnlen(payload, length)));
    ApConfigs record{};
    const RecordReading reading = qv_json_to_record(qv_command_data(root.get(), contract),
                                                    qv_record_bytes(record), *contract.fields);
    if (reading.outcome == RecordReading::too_long) {
        refuse(reading);
        return -1;
    }
    return qv_wifi_mgr_apply(WIFI_MGR_SET_APCONFIGS, qv_record_bytes(record));
}
