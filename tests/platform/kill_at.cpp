// kill_at NUMBER COMMAND [ARGUMENT...]: runs a program and ends it with SIGKILL when it, with all
// its threads, is about to make its system call of that number, counted from 1. Exit status 0 when
// it was killed there, 1 when it came to its end before.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int system_call_stop = SIGTRAP | 0x80; // with PTRACE_O_TRACESYSGOOD

pid_t start_traced(char** command) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
            raise(SIGSTOP);
            execvp(command[0], command);
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
    return number == SIGTRAP || number == SIGSTOP || number == system_call_stop ? 0 : number;
}

bool run_to_kill_point(int number, char** command) {
    const pid_t child = start_traced(command);
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
        if (WSTOPSIG(status) == system_call_stop && in_call.erase(thread) == 0) {
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

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: kill_at NUMBER COMMAND [ARGUMENT...]\n");
        return 2;
    }
    return run_to_kill_point(atoi(argv[1]), argv + 2) ? 0 : 1;
}
