// Preloaded into an agent: its wall clock runs beside the machine's by the nanoseconds that stand
// in the file that $STEPPED_CLOCK names, which may change at any time. Waits for a time of that
// clock last until that clock shows it, as the kernel's do when the clock is set.
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int64_t NS = 1'000'000'000;
constexpr timespec LOOK{.tv_sec = 0, .tv_nsec = 5'000'000};

/// What the program would call without this library.
template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int machine_clock(clockid_t clock, timespec* time) {
    static auto* const function = original<int(clockid_t, timespec*)>("clock_gettime");
    return function(clock, time);
}

int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * NS + time.tv_nsec;
}

const std::atomic<int64_t>* step = nullptr;

int64_t wall_clock() {
    timespec time{};
    machine_clock(CLOCK_REALTIME, &time);
    return nanoseconds(time) + (step == nullptr ? 0 : step->load());
}

// A thread that waits for a time of the wall clock waits without an end; the watch wakes it, again
// and again until it has seen it, once the clock shows that time.

struct Waiter {
    pthread_cond_t* condition = nullptr; ///< none: the place is free
    int64_t due = 0;
};

struct Timer {
    int descriptor = -1;
    int64_t due = 0; ///< 0 when it is not set
};

std::mutex lock; // guards what follows
Timer timer;     ///< the one that was set to a time of the wall clock
std::array<Waiter, 64> waiters;
std::array<const pthread_cond_t*, 64> monotonic; ///< conditions that were made with that clock

Waiter& enter(pthread_cond_t* condition, int64_t due) {
    const std::lock_guard guard(lock);
    for (Waiter& waiter : waiters) {
        if (waiter.condition == nullptr) {
            waiter = {condition, due};
            return waiter;
        }
    }
    abort();
}

void leave(Waiter& waiter) {
    const std::lock_guard guard(lock);
    waiter.condition = nullptr;
}

int set_timer(int descriptor, int flags, const itimerspec* time, itimerspec* before) {
    static auto* const function =
        original<int(int, int, const itimerspec*, itimerspec*)>("timerfd_settime");
    return function(descriptor, flags, time, before);
}

/// With the lock held.
void fire_when_due(int64_t now) {
    if (timer.due != 0 && now >= timer.due) {
        constexpr itimerspec AT_ONCE{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 1}};
        set_timer(timer.descriptor, 0, &AT_ONCE, nullptr);
        timer.due = 0;
    }
}

void* watch(void* /*argument*/) {
    for (;;) {
        nanosleep(&LOOK, nullptr);
        const std::lock_guard guard(lock);
        const int64_t now = wall_clock();
        fire_when_due(now);
        for (const Waiter& waiter : waiters) {
            if (waiter.condition != nullptr && now >= waiter.due) {
                pthread_cond_broadcast(waiter.condition);
            }
        }
    }
}

/// Its signals are the agent's business.
void start_watch() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    pthread_create(&thread, nullptr, watch, nullptr);
    pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

[[gnu::constructor]] void begin() {
    unsetenv("LD_PRELOAD"); // the agent's tools live by the machine's clock
    const int file = open(getenv("STEPPED_CLOCK"), O_RDONLY | O_CLOEXEC);
    void* const page = mmap(nullptr, sizeof *step, PROT_READ, MAP_SHARED, file, 0);
    close(file);
    if (page == MAP_FAILED) {
        abort();
    }
    step = static_cast<const std::atomic<int64_t>*>(page);
    start_watch();
}

void remember_monotonic(const pthread_cond_t* condition) {
    const std::lock_guard guard(lock);
    *std::ranges::find(monotonic, nullptr) = condition;
}

bool is_monotonic(const pthread_cond_t* condition) {
    const std::lock_guard guard(lock);
    return std::ranges::find(monotonic, condition) != monotonic.end();
}

int wait_until(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec& time) {
    const int64_t due = nanoseconds(time);
    if (wall_clock() >= due) {
        return ETIMEDOUT;
    }
    Waiter& waiter = enter(condition, due);
    pthread_cond_wait(condition, mutex);
    leave(waiter);
    return wall_clock() >= due ? ETIMEDOUT : 0;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE) {
        return machine_clock(clock, time);
    }
    const int64_t now = wall_clock();
    *time = {.tv_sec = now / NS, .tv_nsec = now % NS};
    return 0;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    const int64_t now = wall_clock();
    *time = {.tv_sec = now / NS, .tv_usec = now % NS / 1000};
    return 0;
}

time_t time(time_t* result) noexcept {
    const time_t now = wall_clock() / NS;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    static auto* const function =
        original<int(pthread_cond_t*, const pthread_condattr_t*)>("pthread_cond_init");
    clockid_t clock = CLOCK_REALTIME;
    if (attributes != nullptr) {
        pthread_condattr_getclock(attributes, &clock);
    }
    if (clock == CLOCK_MONOTONIC) {
        remember_monotonic(condition);
    }
    return function(condition, attributes);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* until) {
    static auto* const function =
        original<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
    return is_monotonic(condition) ? function(condition, mutex, until)
                                   : wait_until(condition, mutex, *until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    static auto* const function =
        original<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
            "pthread_cond_clockwait");
    return clock == CLOCK_REALTIME ? wait_until(condition, mutex, *until)
                                   : function(condition, mutex, clock, until);
}

int timerfd_settime(int descriptor, int flags, const itimerspec* time,
                    itimerspec* before) noexcept {
    if ((flags & TFD_TIMER_ABSTIME) == 0) {
        return set_timer(descriptor, flags, time, before);
    }
    const std::lock_guard guard(lock);
    constexpr itimerspec NEVER{};
    timer = {descriptor, nanoseconds(time->it_value)};
    return set_timer(descriptor, 0, &NEVER, before); // the watch fires it
}

} // extern "C"
