#include "kill_point.h"

#include <csignal>
#include <cstdint>
#include <set>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80; // with PTRACE_O_TRACESYSGOOD

pid_t start_traced(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
            raise(SIGSTOP);
            body();
        }
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    const intptr_t options =
        PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, options);
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    return child;
}

/// The signal that a stopped thread is to get: its own, but for those that the tracing makes.
intptr_t signal_to_deliver(int status) {
    const int number = WSTOPSIG(status);
    return number == SIGTRAP || number == SIGSTOP || number == SYSTEM_CALL_STOP ? 0 : number;
}

} // namespace

bool tracing_works() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
}

bool run_to_kill_point(int number, const std::function<void()>& body) {
    const pid_t child = start_traced(body);
    std::set<pid_t> in_call; // these threads stop next when their call returns
    int status = 0;
    for (pid_t thread = waitpid(-1, &status, __WALL); thread > 0;
         thread = waitpid(-1, &status, __WALL)) {
        if (!WIFSTOPPED(status)) {
            if (thread == child) {
                return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            }
            continue;
        }
        if (WSTOPSIG(status) == SYSTEM_CALL_STOP && in_call.erase(thread) == 0) {
            in_call.insert(thread);
            if (--number == 0) {
                kill(child, SIGKILL);
                continue;
            }
        }
        ptrace(PTRACE_SYSCALL, thread, nullptr, signal_to_deliver(status));
    }
    return false;
}
