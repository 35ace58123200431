// The tables of every command that the agent answers.
#ifndef QV_COMMANDS_H
#define QV_COMMANDS_H

#include "agent/command.h"

#include <span>

/// Run by the controller thread.
extern const std::span<const Command> qv_commands;

/// Run by the intake worker.
extern const std::span<const IntakeCommand> qv_intake_commands;

#endif
