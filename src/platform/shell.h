// Shell commands: the only way in which the agent runs another program.
#ifndef QV_PLATFORM_SHELL_H
#define QV_PLATFORM_SHELL_H

#include "platform/scoped_fd.h"

#include <cstdint>
#include <span>
#include <sys/types.h>

// A command starts with all signals at their defaults and none blocked, in a session of its own,
// and with no descriptors but 0, 1 and 2. Stopping or killing the agent's process group, or a
// Ctrl-C at its terminal, does not reach it. Any thread may call; it waits for the command.

/// Runs `sh -c command`. Returns what system(3) would: the raw wait status, -1 when there is no
/// child, the status of exit code 127 when the shell cannot be run.
int32_t qv_run_shell(const char* command);

/// The same, with the command's standard output in `output`: its first bytes, NUL-terminated.
/// A command that writes more finds the pipe closed. Empty when nothing was written or run.
int32_t qv_read_shell(const char* command, std::span<char> output);

/// A command under way, whose standard output is read as it comes.
class ShellCommand {
public:
    explicit ShellCommand(const char* command);
    ShellCommand(const ShellCommand&) = delete;
    ShellCommand& operator=(const ShellCommand&) = delete;
    /// Kills the command, with what it has started, unless its end was waited for.
    ~ShellCommand();

    /// The end of a pipe that the command writes to; invalid when there is no command.
    [[nodiscard]] const ScopedFd& output() const {
        return output_;
    }
    /// Closes the pipe and waits for the command's end. Returns what qv_run_shell would.
    int32_t wait();

private:
    ScopedFd output_;
    pid_t child_ = -1;
};

#endif
