// Publishing: reports go to the kernel in their order, and wait where they cannot.
#ifndef QV_BROKER_PUBLISH_H
#define QV_BROKER_PUBLISH_H

#include <chrono>
#include <cstdint>

struct AgentContext;
struct MqttSession;

/// Publishes `length` bytes of `text` on the report topic, from any thread but the network
/// thread. Without a session that the broker has accepted, the report waits for the next one.
/// While a broker reads too slowly the call waits for room, until the session ends or the agent
/// stops.
void qv_mqtt_publish(AgentContext& context, const char* text, uint32_t length);

/// Waits until the kernel has every report that was published, or `limit` has passed.
void qv_mqtt_await_written(AgentContext& context, std::chrono::milliseconds limit);

// --- For the network thread, with the client's lock held ---

/// Hands over what waits, as far as the kernel takes it.
void qv_mqtt_pump(MqttSession& session);

/// The session has ended, or is about to: from here on reports wait. One that was written in part
/// goes out first, and whole, in the next session.
void qv_mqtt_hold(MqttSession& session);

#endif
