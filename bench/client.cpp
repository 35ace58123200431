// The controller of every measurement: sends one command over and over and counts the reports that
// come back. It prints one JSON object; the exit status is 1 when an answer is missing.
#include "protocol/topics.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mosquitto.h>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr std::chrono::seconds ANSWER_LIMIT{20};
constexpr std::chrono::milliseconds ASK_AGAIN{100}; ///< until there is somebody who answers
constexpr std::chrono::milliseconds QUIET{50};      ///< in which a report too many would come

struct Controller {
    mosquitto* client = nullptr;
    std::string topic;
    std::string command;
    bool subscribed = false;
    uint64_t sent = 0;
    uint64_t received = 0;
    int bytes = 0; ///< of the last report
};

[[noreturn]] void fail(const char* what) {
    fprintf(stderr, "bench_client: %s\n", what);
    exit(1);
}

void turn(Controller& controller, int timeout_ms) {
    if (mosquitto_loop(controller.client, timeout_ms, 1) != MOSQ_ERR_SUCCESS) {
        fail("connection lost");
    }
}

void turn_for(Controller& controller, std::chrono::milliseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
        turn(controller, 5);
    }
}

void send(Controller& controller) {
    if (mosquitto_publish(controller.client, nullptr, controller.topic.c_str(),
                          static_cast<int>(controller.command.size()), controller.command.data(), 0,
                          false) != MOSQ_ERR_SUCCESS) {
        fail("cannot publish");
    }
    ++controller.sent;
}

void await(Controller& controller, uint64_t received) {
    const auto deadline = Clock::now() + ANSWER_LIMIT;
    while (controller.received < received) {
        turn(controller, 1000);
        if (Clock::now() > deadline) {
            fail("an answer is missing");
        }
    }
}

void connect(Controller& controller) {
    mosquitto_lib_init();
    controller.client = mosquitto_new("bench", true, &controller);
    mosquitto_connect_callback_set(controller.client, [](mosquitto* client, void*, int) {
        mosquitto_subscribe(client, nullptr, REPORT_TOPIC, 0);
    });
    mosquitto_subscribe_callback_set(controller.client,
                                     [](mosquitto*, void* user_data, int, int, const int*) {
                                         static_cast<Controller*>(user_data)->subscribed = true;
                                     });
    mosquitto_message_callback_set(
        controller.client, [](mosquitto*, void* user_data, const mosquitto_message* message) {
            auto& self = *static_cast<Controller*>(user_data);
            ++self.received;
            self.bytes = message->payloadlen;
        });
    mosquitto_int_option(controller.client, MOSQ_OPT_TCP_NODELAY, 1);
    if (mosquitto_connect(controller.client, "127.0.0.1", 1883, 60) != MOSQ_ERR_SUCCESS) {
        fail("no broker");
    }
    while (!controller.subscribed) {
        turn(controller, 1000);
    }
}

/// Until the other side answers; what was asked too often is answered too, and let pass.
void await_first_answer(Controller& controller) {
    const auto deadline = Clock::now() + ANSWER_LIMIT;
    while (controller.received == 0 && Clock::now() < deadline) {
        send(controller);
        turn_for(controller, ASK_AGAIN);
    }
    if (controller.received == 0) {
        fail("nobody answers");
    }
    turn_for(controller, ASK_AGAIN + QUIET);
    controller.sent = controller.received = 0;
}

/// Sends `batch` commands at once and waits for their answers.
void exchange(Controller& controller, uint64_t batch) {
    for (uint64_t i = 0; i < batch; ++i) {
        send(controller);
    }
    await(controller, controller.sent);
}

/// What was started just now shares a processor with who it talks to, until the scheduler has moved
/// it for good: for some tenths of a second its times are others than ever after.
void warm_up(Controller& controller, uint64_t batch, std::chrono::milliseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
        exchange(controller, batch);
    }
}

void measure_rounds(Controller& controller, uint64_t rounds, uint64_t batch) {
    std::vector<double> times;
    times.reserve(rounds);
    for (uint64_t round = 0; round < rounds; ++round) {
        const auto begin = Clock::now();
        exchange(controller, batch);
        times.push_back(Microseconds(Clock::now() - begin).count());
    }
    std::ranges::sort(times);
    printf(R"({"p50": %.1f, "p99": %.1f, "max": %.1f)", times[rounds / 2], times[rounds * 99 / 100],
           times[rounds - 1]);
}

/// Keeps `outstanding` commands on their way until `commands` are answered.
void measure_throughput(Controller& controller, uint64_t commands, uint64_t outstanding) {
    const auto begin = Clock::now();
    const uint64_t last = controller.sent + commands;
    while (controller.received < last) {
        while (controller.sent < std::min(last, controller.received + outstanding)) {
            send(controller);
        }
        await(controller, controller.received + 1);
    }
    const std::chrono::duration<double> taken = Clock::now() - begin;
    printf(R"({"per_second": %.1f)", static_cast<double>(commands) / taken.count());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        fputs("usage: bench_client rounds|throughput command-topic type N AT-ONCE WARM-UP-MS\n",
              stderr);
        return 2;
    }
    const bool in_rounds = strcmp(argv[1], "rounds") == 0;
    const uint64_t count = strtoull(argv[4], nullptr, 10);
    const uint64_t at_once = strtoull(argv[5], nullptr, 10);
    Controller controller{.topic = argv[2],
                          .command = R"({"type": )" + std::string(argv[3]) +
                                     R"(, "timestamp": 1700000000000})"};
    connect(controller);
    await_first_answer(controller);
    warm_up(controller, at_once, std::chrono::milliseconds(strtoull(argv[6], nullptr, 10)));
    in_rounds ? measure_rounds(controller, count, at_once)
              : measure_throughput(controller, count, at_once);
    // A report that nobody asked for makes every time behind it that of another command.
    turn_for(controller, QUIET);
    mosquitto_destroy(controller.client);
    printf(R"(, "bytes": %d, "commands": %llu, "unasked": %llu})"
           "\n",
           controller.bytes, static_cast<unsigned long long>(controller.sent),
           static_cast<unsigned long long>(controller.received - controller.sent));
    return 0;
}
