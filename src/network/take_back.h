// Network changes that are taken back unless a command confirms them, on the controller thread.
#ifndef QV_NETWORK_TAKE_BACK_H
#define QV_NETWORK_TAKE_BACK_H

#include "agent/command.h"
#include "agent/pending_change.h"

/// Before a change: where its command wants a confirmation, keeps the settings in force in the file
/// and lets the time run. False, after one line, when the command is refused: what it wants is no
/// number of seconds, or the settings in force cannot be read or kept.
bool qv_prepare_change(AgentContext& context, NetworkPart part, const char* payload);

/// Forgets what was confirmed, and puts back what was not; one line for each. What is back is
/// reported, and a new connection asked for. Always 0.
CommandHandler qv_settle_changes;

/// At the start, before the threads: takes up the changes that the file keeps, a line for each.
void qv_find_changes(AgentContext& context);

#endif
