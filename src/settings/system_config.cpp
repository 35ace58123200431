#include "settings/system_config.h"

#include "json/text.h"
#include "platform/log.h"
#include "protocol/system_config_record.h"
#include "settings/section.h"

namespace {

/// For a record that was filled here: its count is within the slots.
void print_servers(std::span<const std::byte> bytes) {
    const auto record = qv_record_of<SystemConfigRecord>(bytes);
    qv_log("server_size: %d\n", record.server_count);
    for (int32_t i = 0; i < record.server_count; ++i) {
        const std::string_view name = qv_field_text(record.server[i]);
        qv_log("server[%d]: %.*s\n", i, static_cast<int>(name.size()), name.data());
    }
}

constexpr SettingsSection SYSTEM = {.command = COMMAND_SET_SYSTEM,
                                    .apply = WIFI_MGR_SET_SYSTEM_CONFIG,
                                    .print_more = print_servers};

} // namespace

int32_t qv_set_system_config(AgentContext& context, const char* payload, uint32_t /*length*/) {
    SystemConfigRecord record{};
    return qv_set_section(SYSTEM, qv_record_bytes(record), context, payload);
}
