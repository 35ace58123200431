// Shape of a controller command: what the dispatcher and the intake know about each type.
#ifndef QV_AGENT_COMMAND_H
#define QV_AGENT_COMMAND_H

#include <cstdint>

struct AgentContext;

/// Every command handler. `payload` is the NUL-terminated command text, owned by the caller and
/// valid during the call; `length` is the number of bytes received. Returns 0 or a handler's own
/// result, which the callers ignore.
using CommandHandler = int32_t(AgentContext& context, const char* payload, uint32_t length);

/// What the controller thread does after a handler.
enum class CommandEnding : uint8_t {
    normal,           ///< back to AGENT_STATE_RUN
    refresh_identity, ///< read the identity again, then back to AGENT_STATE_RUN
    reconnect,        ///< read the identity again, then AGENT_STATE_CONNECT
    broker_reconnect, ///< AGENT_STATE_CONNECT
};

/// Whether the device has a new session with the broker then.
constexpr bool qv_reconnects(CommandEnding ending) {
    switch (ending) {
    case CommandEnding::reconnect:
    case CommandEnding::broker_reconnect: return true;
    case CommandEnding::normal:
    case CommandEnding::refresh_identity: break;
    }
    return false;
}

/// A command that the controller thread runs.
struct Command {
    int32_t type;
    CommandHandler* handler;
    CommandEnding ending = CommandEnding::normal;
    bool busy_first = true; ///< AGENT_STATE_BUSY while the handler runs
    /// Line printed when the ending cannot read the identity.
    const char* identity_failure = "Fail to fetch device mac addr..";
};

/// A command that runs beside the controller thread, on the intake worker.
struct IntakeCommand {
    int32_t type;
    CommandHandler* handler;
    bool busy_first = false; ///< AGENT_STATE_BUSY before the handler
    bool queued_too = false; ///< goes to the controller thread as well
};

#endif
