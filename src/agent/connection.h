// What the main loop, the controller thread and the network thread tell each other of the broker
// connection: who wants one, which stands, which the main loop has seen.
#ifndef QV_AGENT_CONNECTION_H
#define QV_AGENT_CONNECTION_H

#include <cstdint>

struct AgentContext;

/// Guarded by the context's `lock`, edited by the operations below alone.
struct ConnectMarks {
    uint32_t asks = 1;      ///< connections asked for so far: by the start, and by commands
    uint32_t ordered = 0;   ///< of these, what the connect step has asked the network thread for
    uint32_t answered = 0;  ///< of these, by a connection that was begun after the ask
    uint32_t made = 0;      ///< connections made so far
    uint32_t taken = 0;     ///< of these, seen by the main loop
    bool stands = false;    ///< the last one made was not lost yet
    bool spoken_to = false; ///< a command was queued since it was made
};

/// Whether one ask was made before another.
bool qv_agent_ask_before(uint32_t earlier, uint32_t later);

// --- By the controller thread and the intake ---

/// A command wants a new connection, made with the settings as they are from now on.
/// AGENT_STATE_CONNECT.
void qv_agent_ask_connection(AgentContext& context);

/// A command was queued: AGENT_STATE_RUN, also where the main loop sees the present connection
/// only later.
void qv_agent_command_queued(AgentContext& context);

/// A command was carried out: AGENT_STATE_RUN, or AGENT_STATE_ANNOUNCE when a connection was made
/// since it was queued and no other command has come on that.
void qv_agent_command_handled(AgentContext& context);

// --- By the network thread ---

/// An attempt begins. Returns what qv_agent_connection_made is given when it succeeds.
uint32_t qv_agent_connection_begun(AgentContext& context);

/// A connection was made; it answers every ask before its attempt began, none after.
void qv_agent_connection_made(AgentContext& context, uint32_t begun);

/// It was lost. AGENT_STATE_CONNECT.
void qv_agent_connection_lost(AgentContext& context);

/// Whether the connection is to be left for one that was ordered after it was begun.
bool qv_agent_renewal_due(AgentContext& context);

// --- By the main loop ---

/// Whether a connect step is due, whatever `state` says: a command that writes `state` later must
/// not make the agent forget it. The caller holds `lock`.
bool qv_agent_connect_due(const AgentContext& context);

/// Passes the asks made so far on to the network thread, which has to be woken.
void qv_agent_order_connection(AgentContext& context);

#endif
