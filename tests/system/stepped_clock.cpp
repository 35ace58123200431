// Preloaded into an agent: its wall clock runs beside the machine's by the nanoseconds that stand
// in the file that $STEPPED_CLOCK names, which may change at any time. A timer of that clock fires
// when that clock shows its time, as the kernel's do when the clock is set. No thread may wait for
// such a time in any other way: that ends the agent.
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int64_t NS = 1'000'000'000;
constexpr timespec LOOK{.tv_sec = 0, .tv_nsec = 5'000'000};
constexpr time_t YEAR_2001 = 1'000'000'000; ///< which no clock shows that counts from the start

/// What the program would call without this library.
template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int machine_clock(clockid_t clock, timespec* time) {
    static auto* const function = original<int(clockid_t, timespec*)>("clock_gettime");
    return function(clock, time);
}

int set_timer(int descriptor, int flags, const itimerspec* time, itimerspec* before) {
    static auto* const function =
        original<int(int, int, const itimerspec*, itimerspec*)>("timerfd_settime");
    return function(descriptor, flags, time, before);
}

const std::atomic<int64_t>* step = nullptr;

int64_t wall_clock() {
    timespec time{};
    machine_clock(CLOCK_REALTIME, &time);
    return time.tv_sec * NS + time.tv_nsec + (step == nullptr ? 0 : step->load());
}

std::mutex lock; // guards the one timer that was set to a time of the wall clock
int timer_descriptor = -1;
int64_t timer_due = 0; ///< 0 when it is not set

void* watch(void* /*argument*/) {
    constexpr itimerspec AT_ONCE{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 1}};
    for (;;) {
        nanosleep(&LOOK, nullptr);
        const std::lock_guard guard(lock);
        if (timer_due != 0 && wall_clock() >= timer_due) {
            set_timer(timer_descriptor, 0, &AT_ONCE, nullptr);
            timer_due = 0;
        }
    }
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
    sigset_t all; // signals are the agent's business
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    pthread_create(&thread, nullptr, watch, nullptr);
    pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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

time_t time(time_t* result) noexcept {
    const time_t now = wall_clock() / NS;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* until) {
    static auto* const function =
        original<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
    if (until->tv_sec > YEAR_2001) {
        abort();
    }
    return function(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    static auto* const function =
        original<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
            "pthread_cond_clockwait");
    if (clock == CLOCK_REALTIME) {
        abort();
    }
    return function(condition, mutex, clock, until);
}

int timerfd_settime(int descriptor, int flags, const itimerspec* time,
                    itimerspec* before) noexcept {
    if ((flags & TFD_TIMER_ABSTIME) == 0) {
        return set_timer(descriptor, flags, time, before);
    }
    const std::lock_guard guard(lock);
    constexpr itimerspec NEVER{};
    timer_descriptor = descriptor;
    timer_due = time->it_value.tv_sec * NS + time->it_value.tv_nsec;
    return set_timer(descriptor, 0, &NEVER, before); // the watch fires it
}

} // extern "C"
