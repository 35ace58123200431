#include "broker/settings.h"

#include "agent/context.h"
#include "platform/log.h"

#include <cstdio>

namespace {

constexpr const char* BROKER_SECTION = "conf";
constexpr const char* BROKER_NAME = "broker";

void store(AgentContext& context, const BrokerConfig& settings) {
    const std::lock_guard guard(context.settings_lock);
    context.broker = settings;
}

void create_default_entry(AgentContext& context) {
    BrokerConfig settings{.port = DEFAULT_BROKER_PORT, .host = {}};
    snprintf(settings.host, sizeof settings.host, "%s", DEFAULT_BROKER_HOST);
    store(context, settings);
    uci_add_section_system_config(BROKER_SECTION, BROKER_NAME);
    uci_set_system_broker_config(BROKER_NAME, settings);
}

void read_entry(AgentContext& context) {
    BrokerConfig settings = qv_agent_broker(context);
    uci_get_system_broker_config(BROKER_NAME, &settings);
    settings.host[sizeof settings.host - 1] = '\0'; // whatever the library left there
    store(context, settings);
    qv_log("qva->broker: %s\n", settings.host);
    qv_log("qva->broker: %d\n", settings.port);
}

} // namespace

int32_t qv_load_broker_config(AgentContext& context) {
    const int32_t opened = uciInit();
    if (opened != 0) {
        return opened;
    }
    const int32_t exists = uciSectionExist("system", BROKER_SECTION, BROKER_NAME);
    uciDestroy();
    if (exists == -1) {
        create_default_entry(context);
    } else {
        read_entry(context);
    }
    return 0;
}
