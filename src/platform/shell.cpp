#include "platform/shell.h"

#include "platform/scoped_fd.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

// system(3) and popen(3) hand every descriptor without close-on-exec and every ignored signal to
// the command, and libraries make such descriptors. system(3) also changes SIGINT, SIGQUIT and
// SIGCHLD for the whole process, which several threads cannot do at once.

namespace {

/// close_range(2): Linux 5.9, one number on ARM and x86; older headers do not name it.
constexpr long CLOSE_RANGE = 436;

/// Bound of the loop that stands in for it, when the limit on descriptors is higher or none.
constexpr long DESCRIPTORS_MAX = 65536;

/// All signals blocked in this thread, so that none of the agent's handlers runs in a child that
/// has not become the shell yet.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() {
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t before_;
};

// --- In the child: async-signal-safe calls only, because another thread of the agent may hold
// any lock of the C library at the fork ---

/// Makes the descriptor the standard output. False when that cannot be.
bool take_output(int descriptor) {
    if (descriptor == STDOUT_FILENO) {
        return fcntl(descriptor, F_SETFD, 0) == 0; // dup2 would leave it close-on-exec
    }
    return dup2(descriptor, STDOUT_FILENO) == STDOUT_FILENO;
}

void close_inherited(long descriptor_limit) {
    constexpr int FIRST = STDERR_FILENO + 1;
    if (syscall(CLOSE_RANGE, FIRST, ~0U, 0U) == 0) {
        return;
    }
    for (int descriptor = FIRST; descriptor < descriptor_limit; ++descriptor) {
        ScopedFd(descriptor).reset();
    }
}

/// SIGKILL, SIGSTOP and the C library's own signals refuse, and need it not.
void reset_signals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

/// A session of its own rather than only a process group: a background group of the agent's
/// terminal would be stopped as soon as it reads from it.
[[noreturn]] void become_shell(char* const* arguments, int output, long descriptor_limit) {
    setsid();
    if (output >= 0 && !take_output(output)) {
        _exit(127);
    }
    close_inherited(descriptor_limit);
    reset_signals();
    execv("/bin/sh", arguments);
    _exit(127);
}

// --- In the agent ---

/// Returns the child, or -1. `output` becomes its standard output, unless it is -1.
pid_t start_shell(const char* command, int output) {
    char name[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {name, option, const_cast<char*>(command), nullptr};
    const long limit = sysconf(_SC_OPEN_MAX);
    const long bound = limit < 0 ? DESCRIPTORS_MAX : std::min(limit, DESCRIPTORS_MAX);
    const SignalsBlocked blocked;
    const pid_t child = fork();
    if (child == 0) {
        become_shell(arguments, output, bound);
    }
    return child;
}

int32_t wait_status(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

/// Reads until the end or until the output is full.
void read_output(int descriptor, std::span<char> output) {
    size_t size = 0;
    while (size + 1 < output.size()) {
        const ssize_t count = read(descriptor, output.data() + size, output.size() - 1 - size);
        if (count > 0) {
            size += static_cast<size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    output[size] = '\0';
}

} // namespace

int32_t qv_run_shell(const char* command) {
    const pid_t child = start_shell(command, -1);
    return child < 0 ? -1 : wait_status(child);
}

ShellCommand::ShellCommand(const char* command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    output_.reset(ends[0]);
    const ScopedFd writing(ends[1]);
    child_ = start_shell(command, writing.get());
    if (child_ < 0) {
        output_.reset();
    }
}

ShellCommand::~ShellCommand() {
    if (child_ > 0) {
        if (kill(-child_, SIGKILL) != 0) { // its session is a process group too,
            kill(child_, SIGKILL);         // unless the child has not yet made it
        }
        wait();
    }
}

int32_t ShellCommand::wait() {
    output_.reset();
    const pid_t child = std::exchange(child_, -1);
    return child < 0 ? -1 : wait_status(child);
}

int32_t qv_read_shell(const char* command, std::span<char> output) {
    output[0] = '\0';
    ShellCommand running(command);
    if (running.output().valid()) {
        read_output(running.output().get(), output);
    }
    return running.wait();
}
