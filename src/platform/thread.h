// One POSIX thread with a name, an owner and a join.
#ifndef QV_PLATFORM_THREAD_H
#define QV_PLATFORM_THREAD_H

#include <csignal>
#include <pthread.h>

class Thread {
public:
    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    ~Thread() {
        join();
    }

    /// Starts `entry(argument)`; `name` (at most 15 characters, pthread_setname_np(3)) is what
    /// `ps` and debuggers show. A thread that ran before is joined first. False when the system
    /// has no thread to give.
    bool start(const char* name, void* (*entry)(void*), void* argument) {
        join();
        if (pthread_create(&handle_, nullptr, entry, argument) != 0) {
            return false;
        }
        joinable_ = true;
        pthread_setname_np(handle_, name);
        return true;
    }

    /// Waits for the end of the thread; does nothing when none was started.
    void join() {
        if (joinable_) {
            pthread_join(handle_, nullptr);
            joinable_ = false;
        }
    }

    /// Sends a signal to the thread, when there is one.
    void signal(int number) {
        if (joinable_) {
            pthread_kill(handle_, number);
        }
    }

private:
    pthread_t handle_{};
    bool joinable_ = false;
};

#endif
