// The main state machine: connect, announce, poll.
#ifndef QV_STATE_MACHINE_H
#define QV_STATE_MACHINE_H

#include <cstdint>

struct AgentContext;

/// Runs on the main thread until the agent stops; then returns 0. Returns -1 when a periodic
/// message cannot be allocated.
int32_t qv_agent_state_machine(AgentContext& context);

#endif
