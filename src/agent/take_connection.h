// The main loop's wait for the broker connection.
#ifndef QV_AGENT_TAKE_CONNECTION_H
#define QV_AGENT_TAKE_CONNECTION_H

struct AgentContext;

/// Waits for a connection that answers what was ordered, and takes it: AGENT_STATE_ANNOUNCE, or
/// AGENT_STATE_RUN when a command was queued since it was made. Network changes that are due
/// meanwhile are told to the controller thread. False when the agent stops.
bool qv_agent_take_connection(AgentContext& context);

#endif
