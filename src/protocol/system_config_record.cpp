#include "protocol/system_config_record.h"

#include "json/text.h"
#include "platform/log.h"
#include "protocol/record_checks.h"

#include <algorithm>

namespace {

using enum RecordFieldType;

void set_server(SystemConfigRecord& record, int32_t slot, json_object* element) {
    // Tells whether and where the name must be cut.
    char unescaped[SYSTEM_SERVER_SIZE + UTF8_TAIL_MAX] = {};
    const char* const serialised = element == nullptr ? "null" : qv_json_to_string(element);
    qv_json_unescape(serialised == nullptr ? "" : serialised, unescaped);
    const std::string_view name = qv_field_text(unescaped);
    const size_t size = qv_utf8_cut(name, SYSTEM_SERVER_SIZE - 1);
    if (size < name.size()) {
        qv_log("QV_INFO: server[%d] does not fit, cut to %zu bytes\n", slot, size);
    }
    qv_set_field_text(record.server[slot], name.substr(0, size));
}

void set_servers(std::span<std::byte> bytes, json_object* servers) {
    if (json_object_is_type(servers, json_type_array) == 0) {
        return;
    }
    auto record = qv_record_of<SystemConfigRecord>(bytes);
    const size_t count = std::min<size_t>(json_object_array_length(servers), SYSTEM_SERVER_SLOTS);
    record.server_count = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        set_server(record, static_cast<int32_t>(i), json_object_array_get_idx(servers, i));
    }
    std::ranges::copy(qv_record_bytes(record), bytes.begin());
}

constexpr RecordField SERVER[] = {{nullptr, terminated_text, 0, SYSTEM_SERVER_SIZE}};
constexpr uint32_t REPORTED_SERVERS_MAX = SYSTEM_SERVER_SLOTS - 1; // not when every slot is in use
constexpr RecordList SERVER_LIST = {
    QV_RECORD_LIST(SystemConfigRecord, server, 202, server_count, 704, SERVER), 1, false, false,
    REPORTED_SERVERS_MAX};
constexpr RecordSpecial SERVERS = {.list = &SERVER_LIST, .store = set_servers};

constexpr RecordField SYSTEM_CONFIG_FIELDS[] = {
    {"hostname", text, QV_RECORD_MEMBER(SystemConfigRecord, hostname, 0), "hostname"},
    {"zonename", text, QV_RECORD_MEMBER(SystemConfigRecord, zonename, 40), "zonename"},
    {"timezone", text, QV_RECORD_MEMBER(SystemConfigRecord, timezone, 80), "timezone"},
    {"log_size", text, QV_RECORD_MEMBER(SystemConfigRecord, log_size, 120), "log_size"},
    {"log_ip", text, QV_RECORD_MEMBER(SystemConfigRecord, log_ip, 130), "log_ip"},
    {"log_port", text, QV_RECORD_MEMBER(SystemConfigRecord, log_port, 146), "log_port"},
    {"conloglevel", text, QV_RECORD_MEMBER(SystemConfigRecord, conloglevel, 162), "conloglevel"},
    {"cronloglevel", text, QV_RECORD_MEMBER(SystemConfigRecord, cronloglevel, 172), "cronloglevel"},
    {"enabled", text, QV_RECORD_MEMBER(SystemConfigRecord, enabled, 182), "enabled"},
    {"enable_server", text, QV_RECORD_MEMBER(SystemConfigRecord, enable_server, 192),
     "enable_server"},
    {SYSTEM_SERVER_KEY, list, QV_RECORD_MEMBER(SystemConfigRecord, server, 202), nullptr, &SERVERS},
};
static_assert(qv_settings_fit(SYSTEM_CONFIG_FIELDS, sizeof(SystemConfigRecord)));

} // namespace

const RecordTable qv_system_config_fields = SYSTEM_CONFIG_FIELDS;

int32_t qv_json_unescape(std::string_view source, std::span<char> destination) {
    if (destination.empty()) {
        return 0;
    }
    size_t size = 0;
    for (size_t i = 0; i < source.size() && size + 1 < destination.size(); ++i) {
        if (source[i] == '"') {
            continue;
        }
        if (source[i] == '\\' && ++i == source.size()) {
            break;
        }
        destination[size++] = source[i];
    }
    destination[size] = '\0';
    return 0;
}
