// The MQTT session: one client, one network thread, one operation to publish.
#ifndef QV_BROKER_SESSION_H
#define QV_BROKER_SESSION_H

#include "broker/host_lookup.h"
#include "broker/inbox.h"
#include "broker/report_store.h"
#include "platform/thread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mosquitto.h>
#include <mutex>

struct AgentContext;

/// What the broker link keeps. The network thread alone connects, loops and reads; other threads
/// ask it for a reconnection and publish.
struct MqttSession {
    mosquitto* client = nullptr; ///< created by the first connect step
    Thread network;

    /// 1 from a successful connect call to the report of a lost connection.
    std::atomic<int32_t> mqtt_connected{0};

    /// Guards what follows up to `waiting`. The network thread looks at the marks without it, once
    /// in every turn: a publisher that has just woken it still holds the lock.
    std::mutex lock;
    std::condition_variable changed;          ///< a connection was made, or the agent stops
    std::atomic<bool> reconnect_asked{false}; ///< by the connect step
    std::atomic<bool> closing{false};         ///< the agent has nothing more to say
    std::atomic<bool> live{false};            ///< broker accepted the session, nothing blocks it
    uint32_t connections = 0;                 ///< successful connect calls so far
    ReportStore waiting;                      ///< reports published while not live, in order

    /// The network thread's own.
    struct {
        bool accepted = false; ///< by the broker's CONNACK
        bool ended = false;    ///< connection lost, refused or closed
        bool leaving = false;  ///< our DISCONNECT is on its way
        bool overdue = false;  ///< a handler blocked the thread longer than the keep-alive
        Inbox inbox;           ///< messages read, not yet handled
        HostLookup lookup;
        std::chrono::steady_clock::time_point next_attempt; ///< no connect call before
    } link;
};

/// Connect step of the main state machine. The first call creates the client and starts the
/// network thread; a later one asks it for a new connection, or, after a lost connection, takes
/// the one that it makes by itself. Returns 0 once connected, or -1 when the client cannot be
/// created or the agent stops.
int32_t qv_mqtt_connect(AgentContext& context);

/// Publishes `length` bytes of `text` on the report topic, from any thread. Without a session
/// that the broker has accepted, the report waits for the next one.
void qv_mqtt_publish(AgentContext& context, const char* text, uint32_t length);

/// Lets the connect step and the connect loop see that the agent stops. An accepted session goes
/// on until qv_mqtt_close, for the reports of a handler that is still at work.
void qv_mqtt_interrupt(AgentContext& context);

/// Ends the session in good order (reports handed over, DISCONNECT, status recorded) and releases
/// the client. The thread that called qv_mqtt_connect calls this.
void qv_mqtt_close(AgentContext& context);

#endif
