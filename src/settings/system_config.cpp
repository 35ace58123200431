#include "settings/system_config.h"

#include "protocol/record_fields.h"
#include "protocol/system_config_record.h"
#include "reports/report.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"
#include "json/text.h"

#include <algorithm>
#include <cstdio>

namespace {

/// A report leaves the servers out when every slot is in use.
constexpr int32_t REPORTED_SERVERS_MAX = SYSTEM_SERVER_SLOTS - 1;

JsonPtr new_servers(const SystemConfigRecord& record) {
    JsonPtr servers(json_object_new_array());
    for (int32_t i = 0; servers != nullptr && i < record.server_count; ++i) {
        if (!qv_json_append(servers.get(), qv_json_new_text(qv_field_text(record.server[i])))) {
            return nullptr;
        }
    }
    return servers;
}

void set_server(SystemConfigRecord& record, int32_t slot, json_object* element) {
    // One byte more than a slot holds tells whether and where the name must be cut.
    char unescaped[SYSTEM_SERVER_SIZE + 1] = {};
    const char* const serialised = json_object_to_json_string(element);
    qv_json_unescape(serialised == nullptr ? "" : serialised, unescaped);
    const std::string_view name = qv_field_text(unescaped);
    const size_t size = qv_utf8_cut(name, SYSTEM_SERVER_SIZE - 1);
    if (size < name.size()) {
        printf("QV_INFO: server[%d] does not fit, cut to %zu bytes\n", slot, size);
    }
    qv_set_field_text(record.server[slot], name.substr(0, size));
}

void set_servers(SystemConfigRecord& record, json_object* servers) {
    if (json_object_is_type(servers, json_type_array) == 0) {
        return;
    }
    const size_t count = std::min<size_t>(json_object_array_length(servers), SYSTEM_SERVER_SLOTS);
    record.server_count = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        set_server(record, static_cast<int32_t>(i), json_object_array_get_idx(servers, i));
    }
}

/// For a record that was filled here: its count is within the slots.
void print_system_config(const SystemConfigRecord& record) {
    qv_print_record(qv_record_bytes(record), qv_system_config_fields);
    printf("server_size: %d\n", record.server_count);
    for (int32_t i = 0; i < record.server_count; ++i) {
        const std::string_view name = qv_field_text(record.server[i]);
        printf("server[%d]: %.*s\n", i, static_cast<int>(name.size()), name.data());
    }
}

} // namespace

int32_t qv_get_system_config(SystemConfigRecord& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_SYSTEM_CONFIG, qv_record_bytes(record));
    return 0;
}

int32_t qv_system_config_to_json(json_object* object, const SystemConfigRecord& record) {
    if (qv_record_to_json(object, qv_record_bytes(record), qv_system_config_fields) &&
        record.server_count >= 1 && record.server_count <= REPORTED_SERVERS_MAX) {
        qv_json_add(object, SYSTEM_SERVER_KEY, new_servers(record));
    }
    return 0;
}

int32_t qv_json_parse_msg_get_uci_system(SystemConfigRecord& record, const char* text,
                                         uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(text));
    json_object* const section = qv_json_path(root.get(), {"data", "uci_system"});
    qv_json_to_record(section, qv_record_bytes(record), qv_system_config_fields);
    set_servers(record, qv_json_member(section, SYSTEM_SERVER_KEY));
    return 0;
}

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

int32_t qv_mgr_set_system_config(const SystemConfigRecord& record) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_SYSTEM_CONFIG, qv_record_bytes(record));
}

int32_t qv_set_system_config(AgentContext& context, const char* payload, uint32_t length) {
    SystemConfigRecord record{};
    qv_json_parse_msg_get_uci_system(record, payload, length);
    print_system_config(record);
    const int32_t result = qv_mgr_set_system_config(record);
    qv_send_report(context, REPORT_UCI_SYSTEM, SYSTEM_STATS_ERROR);
    return result;
}
