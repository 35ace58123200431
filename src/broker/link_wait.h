// How the network thread waits: for the broker, and for the other threads of the agent.
#ifndef QV_BROKER_LINK_WAIT_H
#define QV_BROKER_LINK_WAIT_H

#include "platform/monotonic_condition.h"

struct AgentContext;
struct MqttSession;

/// Waits until the descriptor (none when negative) has one of the events of poll(2), the deadline
/// has passed, or another thread has woken the network thread; then takes the inbox on. Returns
/// the events that the descriptor has.
short qv_link_wait(AgentContext& context, int descriptor, short events,
                   MonotonicCondition::Clock::time_point deadline);

/// The same, until the descriptor has one of the events. False when the deadline has passed or the
/// attempt at hand is given up, because the agent closes.
bool qv_link_await(AgentContext& context, int descriptor, short events,
                   MonotonicCondition::Clock::time_point deadline);

/// Whether an attempt to connect, or the pause before it, is of no use any more: the agent closes,
/// and this is not the attempt that reports get which wait.
bool qv_link_gives_up(const MqttSession& session);

/// From any thread.
void qv_link_wake(const MqttSession& session);

/// Hands the messages that were read to the context's handler, in their order, as long as the
/// intake worker is free: a message behind a command that runs there waits for it. When the agent
/// stops they are dropped.
void qv_link_take_inbox(AgentContext& context);

#endif
