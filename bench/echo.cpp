// The floor of every measurement: the least that can stand in the agent's place. One thread, the
// library's loop, and the same text in answer to every command.
//
// With the identifier of a wifi-manager message it takes the agent's road without doing any of its
// work: a second thread gets the command, exchanges that message and hands the text back to the
// loop. What it takes longer is the processes and threads waking each other.
#include "platform/zendry_common.h"
#include "protocol/topics.h"
#include "protocol/wifi_manager.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <mosquitto.h>
#include <semaphore>
#include <string>
#include <thread>

namespace {

struct Echo {
    const char* topic;
    std::string text;
    uint8_t message; ///< 0: no exchange, no second thread
    mosquitto* client = nullptr;
    std::counting_semaphore<> commands{0}; ///< for the second thread
};

void on_connect(mosquitto* client, void* user_data, int /*result*/) {
    mosquitto_subscribe(client, nullptr, static_cast<Echo*>(user_data)->topic, 0);
}

void answer(const Echo& echo) {
    mosquitto_publish(echo.client, nullptr, REPORT_TOPIC, static_cast<int>(echo.text.size()),
                      echo.text.data(), 0, false);
}

void on_message(mosquitto* /*client*/, void* user_data, const mosquitto_message* /*message*/) {
    Echo& echo = *static_cast<Echo*>(user_data);
    echo.message == 0 ? answer(echo) : echo.commands.release();
}

void exchange_and_answer(Echo& echo) {
    const WifiMgrMsg request{
        .module = WIFI_MGR_MODULE_WIRELESS, .msg_id = echo.message, .reserved = {}, .length = 0};
    static std::array<std::byte, 27000> reply;
    for (;;) {
        echo.commands.acquire();
        if (qv_ctrl_send_wifi_mgr_msg(&request, sizeof request, reply.data(), reply.size()) != 0 ||
            std::to_integer<uint8_t>(reply[offsetof(WifiMgrMsg, msg_id)]) != echo.message) {
            fputs("bench_echo: the wifi manager does not answer\n", stderr);
            exit(1);
        }
        answer(echo);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        fputs("usage: bench_echo command-topic bytes [wifi-manager-message]\n", stderr);
        return 2;
    }
    const unsigned long message = argc == 4 ? strtoul(argv[3], nullptr, 10) : 0;
    Echo echo{.topic = argv[1],
              .text = std::string(strtoul(argv[2], nullptr, 10), 'x'),
              .message = static_cast<uint8_t>(message)};
    mosquitto_lib_init();
    echo.client = mosquitto_new(nullptr, true, &echo);
    mosquitto_connect_callback_set(echo.client, on_connect);
    mosquitto_message_callback_set(echo.client, on_message);
    mosquitto_int_option(echo.client, MOSQ_OPT_TCP_NODELAY, 1);
    if (echo.message != 0) {
        mosquitto_threaded_set(echo.client, true);
        std::thread(exchange_and_answer, std::ref(echo)).detach(); // until the program is ended
    }
    int result = mosquitto_connect(echo.client, "127.0.0.1", 1883, 15);
    while (result == MOSQ_ERR_SUCCESS) {
        result = mosquitto_loop(echo.client, -1, 1);
    }
    fprintf(stderr, "bench_echo: %s\n", mosquitto_strerror(result));
    return 1;
}
