// The broker's entry in package "system":
//
//     config conf 'broker'
//             option host '127.0.0.1'
//             option port '1883'
//             option status '1'
#include "platform/zendry_common/broker_settings.h"

#include "platform/log.h"
#include "platform/zendry_common.h"
#include "platform/zendry_common/uci_session.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

using zendry::BROKER_PACKAGE;
using zendry::BROKER_SECTION_TYPE;
using zendry::UciDocument;
using zendry::UciSession;

bool valid_host(std::string_view host) {
    return !host.empty() && host.size() < BROKER_HOST_SIZE &&
           std::all_of(host.begin(), host.end(), [](char c) { return c > ' ' && c <= '~'; });
}

/// Decimal digits only, 1 to 65535; 0 for anything else.
int32_t parse_port(std::string_view text) {
    uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() ? port : 0;
}

/// One edit of package "system", committed. Edit returns false when it could not be made.
template <typename Edit>
int32_t edit_system(Edit edit) {
    const std::unique_ptr<UciSession> session = UciSession::open();
    UciDocument* document = session != nullptr ? session->package(BROKER_PACKAGE) : nullptr;
    return document != nullptr && edit(*document) && session->commit(BROKER_PACKAGE) ? 0 : -1;
}

bool store_entry(UciDocument& system, const char* name, const BrokerConfig& settings) {
    if (!system.add_section(BROKER_SECTION_TYPE, name)) {
        qv_log("QV_ERR: %s.%s is no section of type %s and cannot become one\n", BROKER_PACKAGE,
               name, BROKER_SECTION_TYPE);
        return false;
    }
    return system.set(name, "host", settings.host) &&
           system.set(name, "port", std::to_string(settings.port));
}

} // namespace

bool zendry::has_broker_entry(const UciDocument& system, std::string_view name) {
    const UciSection* section = system.find(name);
    const auto has = [&](std::string_view option) {
        return !system.value(name, option).value_or("").empty();
    };
    return section != nullptr && section->name == name && section->type == BROKER_SECTION_TYPE &&
           (has("host") || has("port"));
}

/// Only tries whether the entry can be made. The call below stores it with its values, in one step:
/// a kill between two would leave an entry that leads nowhere.
int32_t uci_add_section_system_config(const char* section, const char* name) {
    const std::unique_ptr<UciSession> session = UciSession::open();
    UciDocument* document = session != nullptr ? session->package(BROKER_PACKAGE) : nullptr;
    if (document == nullptr || section == nullptr || name == nullptr) {
        return -1;
    }
    return document->add_section(section, name) ? 0 : -1;
}

int32_t uci_set_system_broker_config(const char* name, BrokerConfig settings) {
    const std::string_view host(settings.host, strnlen(settings.host, sizeof settings.host));
    if (name == nullptr || !valid_host(host) || settings.port < 1 || settings.port > UINT16_MAX) {
        qv_log("QV_ERR: broker host or port not valid, not stored\n");
        return -1;
    }
    return edit_system([&](UciDocument& d) { return store_entry(d, name, settings); });
}

int32_t uci_get_system_broker_config(const char* name, BrokerConfig* settings) {
    const std::unique_ptr<UciSession> session = UciSession::open();
    const UciDocument* document = session != nullptr ? session->package(BROKER_PACKAGE) : nullptr;
    if (document == nullptr || name == nullptr || settings == nullptr) {
        return -1;
    }
    const std::string_view host = document->value(name, "host").value_or("");
    if (!valid_host(host)) {
        qv_log("QV_ERR: %s.%s.host is missing, longer than %d characters or not a host\n",
               BROKER_PACKAGE, name, BROKER_HOST_SIZE - 1);
        return -1;
    }
    const int32_t port = parse_port(document->value(name, "port").value_or(""));
    if (port == 0) {
        qv_log("QV_ERR: %s.%s.port is missing or not a number from 1 to 65535\n", BROKER_PACKAGE,
               name);
        return -1;
    }
    *settings = {};
    settings->port = port;
    memcpy(settings->host, host.data(), host.size());
    return 0;
}

int32_t uci_set_system_broker_status(int32_t status) {
    if (status != 0 && status != 1) {
        return -1;
    }
    return edit_system([&](UciDocument& d) {
        return zendry::has_broker_entry(d, "broker") &&
               d.set("broker", "status", status == 1 ? "1" : "0");
    });
}
