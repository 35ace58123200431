#include "network/network_config.h"

#include "network/network_sections.h"
#include "network/take_back.h"
#include "protocol/network_records.h"

#include <array>

namespace {

static_assert(sizeof(LanConfigRecord) >= sizeof(WanConfigRecord) &&
              sizeof(LanConfigRecord) >= sizeof(Wan6ConfigRecord));

/// Sets a record of that size, which is at most LAN's.
int32_t set(NetworkPart part, size_t record_size, AgentContext& context, const char* payload) {
    if (qv_prepare_change(context, part, payload)) {
        std::array<std::byte, sizeof(LanConfigRecord)> record{};
        qv_set_section(qv_network_section(part).settings, std::span(record).first(record_size),
                       context, payload);
    }
    return 0;
}

} // namespace

int32_t qv_set_network_lan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(NetworkPart::lan, sizeof(LanConfigRecord), context, payload);
}

int32_t qv_set_network_wan(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(NetworkPart::wan, sizeof(WanConfigRecord), context, payload);
}

int32_t qv_set_network_wan6(AgentContext& context, const char* payload, uint32_t /*length*/) {
    return set(NetworkPart::wan6, sizeof(Wan6ConfigRecord), context, payload);
}
