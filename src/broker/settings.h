// Broker settings: address of the MQTT broker in the configuration store.
#ifndef QV_BROKER_SETTINGS_H
#define QV_BROKER_SETTINGS_H

#include <cstdint>

struct AgentContext;

/// Where a device without a broker entry connects to: itself, so that it talks to nobody else
/// until it is configured.
inline constexpr const char* DEFAULT_BROKER_HOST = "127.0.0.1";
inline constexpr int32_t DEFAULT_BROKER_PORT = 1883;

/// Refreshes the context's broker settings from the store, creating the entry with the defaults
/// when it is missing. Returns 0, or what uciInit returned when the store cannot be opened; the
/// settings then stay as they were.
int32_t qv_load_broker_config(AgentContext& context);

#endif
