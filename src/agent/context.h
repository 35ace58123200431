// The agent context: the one record that every thread and every handler receives first.
#ifndef QV_AGENT_CONTEXT_H
#define QV_AGENT_CONTEXT_H

#include "agent/command.h"
#include "agent/connection.h"
#include "agent/local_socket.h"
#include "agent/message_queue.h"
#include "agent/pending_change.h"
#include "agent/report_kind.h"
#include "platform/monotonic_condition.h"
#include "platform/scoped_fd.h"
#include "platform/thread.h"
#include "platform/zendry_common.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <span>

struct MqttSession;

enum AgentState : int32_t {
    AGENT_STATE_CONNECT = 1,  ///< the broker connection must be (re)made
    AGENT_STATE_ANNOUNCE = 2, ///< connected; announce the device until the controller speaks
    AGENT_STATE_RUN = 3,      ///< normal operation; poll status periodically
    AGENT_STATE_BUSY = 4,     ///< a command is being handled
};

using MacAddress = std::array<uint8_t, 6>; ///< in network order

/// Room for an IPv4 address in dotted-decimal form and to spare.
inline constexpr uint32_t IPADDR_SIZE = 24;

/// Who the device is, as one consistent copy.
struct DeviceIdentity {
    MacAddress macaddr{};
    std::array<char, IPADDR_SIZE> ipaddr{}; ///< NUL-terminated; empty before the first reading
};

/// Receives every non-empty inbound payload: NUL-terminated, valid during the call.
using MsgHandler = int32_t(AgentContext& context, const char* topic, const char* payload,
                           uint32_t length);

struct AgentContext {
    AgentContext();

    std::atomic<AgentState> state{AGENT_STATE_CONNECT};

    /// Guards the writes of `state` by other threads than the main loop's and what follows up to
    /// `worker_runs`. Never held across a handler.
    std::mutex lock;
    MonotonicCondition wake; ///< the agent stops, a connection was made, or a deadline of `changes`
    int32_t busy = 0;        ///< 1 while a firmware job of command 1032 runs
    ConnectMarks marks;
    PendingChanges changes;
    bool worker_runs = false; ///< `worker` has a firmware job, or its reboot, to end yet; else it
                              ///< ends by itself at once

    std::atomic<int32_t> stop{0};   ///< set once, by qv_agent_stop
    ScopedFd stopped;               ///< eventfd, readable once it is set
    std::atomic<int32_t> failed{0}; ///< 1 when it stops because it is of no use any more

    Thread reader;     ///< qv_local_recv_thread
    Thread controller; ///< qv_agent_controller_thread
    Thread worker;     ///< the firmware job of command 1032

    /// Guards the identity and the broker settings, for the length of a copy.
    std::mutex settings_lock;
    BrokerConfig broker{};
    DeviceIdentity identity;
    std::array<char, 16> ifname{}; ///< interface that the identity is read from

    MqttSession* session = nullptr; ///< the broker link's own state, not owned
    LocalSocketConfig event_socket_config;
    LocalSocket event_socket;
    MsgHandler* msg_handler = nullptr; ///< set when the MQTT client is created
    MsgQueue queue;                    ///< messages waiting for the controller thread

    /// The tables that name every subsystem, given by the start-up.
    std::span<const Command> commands;
    std::span<const IntakeCommand> intake_commands;
    std::span<const ReportKind> report_kinds;
    CommandHandler* settle_changes = nullptr; ///< runs what qv_agent_changes_to_settle gives
};

/// Writes the state on behalf of any thread but the main loop's.
void qv_agent_set_state(AgentContext& context, AgentState state);

/// Raises the stop flag, wakes the main loop and the controller thread, and ends downloads. No
/// command and no step of an upgrade begins from here on; a tool under way is not disturbed, and
/// the restart that belongs to its success follows.
void qv_agent_stop(AgentContext& context);

/// Waits for the stop, for so long at most. Whether the agent stops.
bool qv_agent_stops_within(const AgentContext& context, std::chrono::milliseconds limit);

bool qv_agent_stopping(const AgentContext& context);

DeviceIdentity qv_agent_identity(AgentContext& context);
BrokerConfig qv_agent_broker(AgentContext& context);

#endif
