// The floors of every measurement: the least that can stand in the agent's place. The library's
// loop, and the same text in answer to every command; told nothing more, one thread does no more.
//
// With a way and the identifier of a wifi-manager message it does what no agent can leave out, one
// exchange of that message for every command:
//   asking       in the same thread: the least that any agent can take.
//   handing-on   in a second thread, which gets the command and hands the text back to the loop.
//                What that takes longer is the threads waking each other.
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
#include <string_view>
#include <thread>

namespace {

struct Echo {
    const char* topic;
    std::string text;
    void (*on_command)(Echo&);
    uint8_t message; ///< for the wifi manager
    mosquitto* client = nullptr;
    std::counting_semaphore<> commands{0}; ///< for the second thread
};

void on_connect(mosquitto* client, void* user_data, int /*result*/) {
    mosquitto_subscribe(client, nullptr, static_cast<Echo*>(user_data)->topic, 0);
}

void on_message(mosquitto* /*client*/, void* user_data, const mosquitto_message* /*message*/) {
    Echo& echo = *static_cast<Echo*>(user_data);
    echo.on_command(echo);
}

void answer(Echo& echo) {
    mosquitto_publish(echo.client, nullptr, REPORT_TOPIC, static_cast<int>(echo.text.size()),
                      echo.text.data(), 0, false);
}

void ask_and_answer(Echo& echo) {
    const WifiMgrMsg request{
        .module = WIFI_MGR_MODULE_WIRELESS, .msg_id = echo.message, .reserved = {}, .length = 0};
    static std::array<std::byte, 27000> reply;
    if (qv_ctrl_send_wifi_mgr_msg(&request, sizeof request, reply.data(), reply.size()) != 0 ||
        std::to_integer<uint8_t>(reply[offsetof(WifiMgrMsg, msg_id)]) != echo.message) {
        fputs("bench_echo: the wifi manager does not answer\n", stderr);
        exit(1);
    }
    answer(echo);
}

void hand_on(Echo& echo) {
    echo.commands.release();
}

/// The second thread, until the program is ended.
void take_commands(Echo& echo) {
    for (;;) {
        echo.commands.acquire();
        ask_and_answer(echo);
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view way = argc == 5 ? argv[3] : "";
    if (argc != 3 && way != "asking" && way != "handing-on") {
        fputs("usage: bench_echo command-topic bytes [asking|handing-on wifi-manager-message]\n",
              stderr);
        return 2;
    }
    const unsigned long message = argc == 5 ? strtoul(argv[4], nullptr, 10) : 0;
    Echo echo{.topic = argv[1],
              .text = std::string(strtoul(argv[2], nullptr, 10), 'x'),
              .on_command = way == "asking"       ? ask_and_answer
                            : way == "handing-on" ? hand_on
                                                  : answer,
              .message = static_cast<uint8_t>(message)};
    mosquitto_lib_init();
    echo.client = mosquitto_new(nullptr, true, &echo);
    mosquitto_connect_callback_set(echo.client, on_connect);
    mosquitto_message_callback_set(echo.client, on_message);
    mosquitto_int_option(echo.client, MOSQ_OPT_TCP_NODELAY, 1);
    if (echo.on_command == hand_on) {
        mosquitto_threaded_set(echo.client, true);
        std::thread(take_commands, std::ref(echo)).detach();
    }
    int result = mosquitto_connect(echo.client, "127.0.0.1", 1883, 15);
    while (result == MOSQ_ERR_SUCCESS) {
        result = mosquitto_loop(echo.client, -1, 1);
    }
    fprintf(stderr, "bench_echo: %s\n", mosquitto_strerror(result));
    return 1;
}
