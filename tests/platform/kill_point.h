// Kills a child process at a chosen system call.
#ifndef QV_TESTS_PLATFORM_KILL_POINT_H
#define QV_TESTS_PLATFORM_KILL_POINT_H

#include <functional>

/// Whether a process may be traced here; under an emulator it may not.
bool tracing_works();

/// Runs body in a child process, and ends that with SIGKILL when it, with all its threads, is about
/// to make its system call of that number, counted from 1. Returns whether the child was killed;
/// otherwise it came to its end before. Waits for every child process of the caller.
bool run_to_kill_point(int number, const std::function<void()>& body);

#endif
