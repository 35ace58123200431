// The MQTT session: one client, one lock that owns it, one network thread that serves it.
#ifndef QV_BROKER_SESSION_H
#define QV_BROKER_SESSION_H

#include "broker/host_lookup.h"
#include "broker/inbox.h"
#include "broker/intake_worker.h"
#include "broker/report_store.h"
#include "platform/monotonic_condition.h"
#include "platform/scoped_fd.h"
#include "platform/thread.h"

#include <atomic>
#include <cstdint>
#include <mosquitto.h>
#include <mutex>
#include <optional>

struct AgentContext;

/// What the network thread alone touches.
struct LinkState {
    using Clock = MonotonicCondition::Clock;

    bool last_attempt = false;       ///< the one that reports get which wait when the agent closes
    bool secured = false;            ///< the client goes by credentials
    Inbox inbox;                     ///< messages read, not yet handled
    uint32_t begun = 0;              ///< of the connection, as qv_agent_connection_begun gave it
    std::optional<uint32_t> came_in; ///< `begun` of the session in which the message at hand came;
                                     ///< none for one that the broker had retained
    HostLookup lookup;
    Clock::time_point next_attempt; ///< no connect call before
    Clock::time_point accept_by;    ///< the broker's CONNACK is waited for until then
    Clock::time_point heard;        ///< the broker's last bytes
};

/// What the broker link keeps. The network thread connects, reads and writes; other threads
/// publish, each in its own time, and ask for a reconnection. Beside the broker the thread waits
/// for the configuration store alone, which bounds that itself, between two sessions.
struct MqttSession {
    using Clock = MonotonicCondition::Clock;

    /// eventfd: what the network thread waits for beside the socket. Made with that thread.
    ScopedFd wake;
    Thread network;
    IntakeWorker intake;
    LinkState link;

    /// 1 from a successful connect call to the report of a lost connection.
    std::atomic<int32_t> mqtt_connected{0};
    std::atomic<bool> closing{false}; ///< the agent has nothing more to say

    /// Held for every call into the library, hence in its callbacks, and for what follows; never
    /// across a wait for the broker.
    std::mutex client_lock;
    mosquitto* client = nullptr; ///< created by the first connect step, anew for credentials
    bool live = false;           ///< the broker has accepted the session, and it has not ended
    bool ended = true;           ///< connection lost, refused or closed
    int end_result = 0;          ///< the library's word for why it has ended
    Clock::time_point spoke;     ///< our last bytes
    ReportStore waiting;         ///< reports that the kernel does not have yet, in order
    MonotonicCondition moved;    ///< `live` or `waiting` has changed, or the agent stops
};

/// Connect step of the main state machine. The first call creates the client and starts the
/// network thread; a later one asks it for a new connection where a command wanted one, and takes
/// the one that it makes by itself after a loss. Returns 0 once connected, or -1 when the client
/// cannot be created or the agent stops.
int32_t qv_mqtt_connect(AgentContext& context);

/// Lets a publisher that waits for a slow broker see that the agent stops. The session goes on
/// until qv_mqtt_close, for the reports of a handler that is still at work.
void qv_mqtt_interrupt(AgentContext& context);

/// Ends the session in good order (reports handed over, DISCONNECT, status recorded) and releases
/// the client. Without a session, reports that wait get one attempt of at most 3 s; what does not
/// go out is named in one line. The thread that called qv_mqtt_connect calls this, after all that
/// publishes.
void qv_mqtt_close(AgentContext& context);

#endif
