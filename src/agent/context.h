// The agent context: the one record that every thread and every handler receives first.
#ifndef QV_AGENT_CONTEXT_H
#define QV_AGENT_CONTEXT_H

#include "agent/command.h"
#include "agent/local_socket.h"
#include "agent/message_queue.h"
#include "agent/report_kind.h"
#include "platform/thread.h"
#include "platform/zendry_common.h"

#include <array>
#include <atomic>
#include <condition_variable>
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
    std::atomic<AgentState> state{AGENT_STATE_CONNECT};

    /// Guards the writes of `state` by other threads than the main loop's, `busy` and the two
    /// connect marks; also the mutex of the main loop's timed wait. Never held across a handler.
    std::mutex lock;
    std::condition_variable wake; ///< signalled only when the agent stops
    int32_t busy = 0;             ///< 1 while a firmware job of command 1032 runs

    /// A connect step is due, whatever `state` says by now: a later command that writes `state`
    /// must not make the agent forget it.
    bool connect_asked = false;
    bool connection_lost = false; ///< as above; the network thread makes the new connection

    std::atomic<int32_t> stop{0}; ///< set once, by qv_agent_stop

    Thread reader;     ///< qv_local_recv_thread
    Thread controller; ///< qv_agent_controller_thread
    Thread worker;     ///< the firmware job of command 1032

    /// Held by the network thread while it starts a worker, by the main thread while it waits for
    /// the last one.
    std::mutex worker_lock;

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
};

/// Writes the state on behalf of any thread but the main loop's.
void qv_agent_set_state(AgentContext& context, AgentState state);

/// As qv_agent_set_state with AGENT_STATE_CONNECT, after the broker connection was lost.
void qv_agent_connection_lost(AgentContext& context);

/// Raises the stop flag and wakes the main loop and the controller thread.
void qv_agent_stop(AgentContext& context);

bool qv_agent_stopping(const AgentContext& context);

DeviceIdentity qv_agent_identity(AgentContext& context);
BrokerConfig qv_agent_broker(AgentContext& context);

#endif
