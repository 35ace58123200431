// A condition variable whose deadlines no step of the wall clock moves.
#ifndef QV_PLATFORM_MONOTONIC_CONDITION_H
#define QV_PLATFORM_MONOTONIC_CONDITION_H

#include <chrono>
#include <ctime>
#include <mutex>
#include <pthread.h>

/// std::condition_variable turns a steady deadline into one of CLOCK_REALTIME where the C library
/// has no pthread_cond_clockwait(3), musl for one. This one is made for CLOCK_MONOTONIC, which
/// POSIX has with every C library (pthread_condattr_setclock(3)).
class MonotonicCondition {
public:
    using Clock = std::chrono::steady_clock; ///< CLOCK_MONOTONIC on Linux

    MonotonicCondition() {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition_, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    MonotonicCondition(const MonotonicCondition&) = delete;
    MonotonicCondition& operator=(const MonotonicCondition&) = delete;
    ~MonotonicCondition() {
        pthread_cond_destroy(&condition_);
    }

    void notify_all() {
        pthread_cond_broadcast(&condition_);
    }

    /// Until `wanted()`, which is asked with the lock held.
    template <class Predicate>
    void wait(std::unique_lock<std::mutex>& guard, Predicate wanted) {
        while (!wanted()) {
            pthread_cond_wait(&condition_, guard.mutex()->native_handle());
        }
    }

    /// The same, until the deadline at most. Returns what `wanted()` says at the end.
    template <class Predicate>
    bool wait_until(std::unique_lock<std::mutex>& guard, Clock::time_point deadline,
                    Predicate wanted) {
        while (!wanted()) {
            if (Clock::now() >= deadline) {
                return false;
            }
            const timespec end = timespec_of(deadline);
            pthread_cond_timedwait(&condition_, guard.mutex()->native_handle(), &end);
        }
        return true;
    }

private:
    static timespec timespec_of(Clock::time_point time) {
        using std::chrono::nanoseconds;
        const auto whole = std::chrono::floor<std::chrono::seconds>(time);
        timespec result{};
        result.tv_sec = static_cast<time_t>(whole.time_since_epoch().count());
        result.tv_nsec = static_cast<long>(nanoseconds(time - whole).count());
        return result;
    }

    pthread_cond_t condition_{};
};

#endif
