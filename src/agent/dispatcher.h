// The controller thread: runs queued commands one at a time, in arrival order.
#ifndef QV_AGENT_DISPATCHER_H
#define QV_AGENT_DISPATCHER_H

struct AgentContext;
struct ControllerMsg;

/// Runs one command to its ending. False when the identity could not be read after it, and no
/// further command may be handled.
bool qv_agent_process(AgentContext& context, const ControllerMsg& message);

/// Thread entry (argument: the agent context). Ends when the agent stops, or when the identity
/// cannot be read after a command that needs it and no network change is pending; commands are then
/// queued but no longer handled.
void* qv_agent_controller_thread(void* agent_context);

#endif
