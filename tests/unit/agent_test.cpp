#include "agent/connection.h"
#include "agent/dispatcher.h"
#include "broker/inbox.h"
#include "broker/intake.h"
#include "broker/report_store.h"
#include "broker/settings.h"
#include "support.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

ControllerMsgPtr message(AgentContext& context, int32_t type, const char* text = "{}") {
    return qv_new_controller_msg(context, type, text, static_cast<uint32_t>(strlen(text)));
}

} // namespace

using QueueTest = AgentTest;

TEST_F(QueueTest, HandsOverInOrderAndPrintsTheCounts) {
    log = log_of([&] {
        for (const int32_t type : {1, 2, 3}) {
            msg_queue_push(context.queue, message(context, type));
        }
        for (const int32_t type : {1, 2, 3}) {
            EXPECT_EQ(msg_queue_pop(context.queue)->type, type);
        }
    });
    EXPECT_EQ(log, "msg_queue_push: 1\nmsg_queue_push: 2\nmsg_queue_push: 3\n"
                   "msg_queue_pop: 2\nmsg_queue_pop: 1\nmsg_queue_pop: 0\n");
    EXPECT_EQ(context.queue.head, nullptr);
    EXPECT_EQ(context.queue.tail, nullptr);
}

TEST_F(QueueTest, ManyProducersLoseNothing) {
    constexpr int EACH = 500;
    log = log_of([&] {
        std::thread producers[4];
        for (int first = 0; std::thread & producer : producers) {
            producer = std::thread([this, first] {
                for (int i = 0; i < EACH; ++i) {
                    msg_queue_push(context.queue, message(context, first + i));
                }
            });
            first += EACH;
        }
        int last[4] = {-1, -1, -1, -1};
        for (int i = 0; i < 4 * EACH; ++i) {
            const int32_t type = msg_queue_pop(context.queue)->type;
            EXPECT_LT(last[type / EACH], type); // each producer's messages keep their order
            last[type / EACH] = type;
        }
        for (std::thread& producer : producers) {
            producer.join();
        }
    });
    EXPECT_EQ(context.queue.count, 0);
}

using DispatcherTest = AgentTest;

TEST_F(DispatcherTest, EndingsAndLines) {
    const struct {
        int32_t type;
        const char* line;
        AgentState state;
    } rows[] = {
        {1000, "SUB MSG: payload={\"a\":1}\n", AGENT_STATE_RUN},
        {1008, "qv_agent_controller_thread: unknown msg type\n", AGENT_STATE_RUN},
        {1017, "process_msg->type 1017\nqv_agent_controller_thread: unknown msg type\n",
         AGENT_STATE_RUN},
        {-7, "process_msg->type -7\n", AGENT_STATE_RUN},
        {1014, "process_msg->type 1014\n", AGENT_STATE_CONNECT},
        {1034, "SUB MSG:payload={\"a\":1}\n", AGENT_STATE_RUN},
        {1035, "QV_ERR: failed to fetch wifi stats..\n", AGENT_STATE_RUN},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        qv_agent_command_queued(context);
        log = log_of([&] {
            EXPECT_TRUE(qv_agent_process(context, *message(context, row.type, "{\"a\":1}")));
        });
        EXPECT_NE(log.find(row.line), std::string::npos) << log;
        EXPECT_EQ(context.state, row.state);
        // A later command does not forget the reconnection.
        EXPECT_EQ(context.marks.asks, &row - rows >= 4 ? 2 : 1);
    }
    EXPECT_EQ(fake().calls, std::vector<std::string>{"uci_set_system_broker_status 0"});
    for (const uint32_t word : {0U, 7U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU}) {
        fake().replies[1] = Image(4).number(0, word, 4);
        run_command(1035, "{}");
        EXPECT_EQ(log, word < 0x80000000 ? "" : "QV_ERR: failed to fetch wifi stats..\n") << word;
    }
}

/// The main loop neither announces nor asks while a handler is at work, but for 1035, which it
/// asks for itself.
TEST_F(DispatcherTest, StateWhileAHandlerRuns) {
    const struct {
        int32_t type;
        AgentState during;
    } rows[] = {
        {1034, AGENT_STATE_BUSY},
        {1035, AGENT_STATE_ANNOUNCE},
        {1017, AGENT_STATE_BUSY}, // of the intake
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        context.state = AGENT_STATE_ANNOUNCE;
        std::vector<AgentState> seen;
        fake().during_request = [&] { seen.push_back(context.state); };
        const std::string text = "{\"type\":" + std::to_string(row.type) + "}";
        log = log_of([&] {
            if (row.type == 1017) {
                qv_agent_recv_msg(context, "", text.c_str(), static_cast<uint32_t>(text.size()));
            } else {
                qv_agent_process(context, *message(context, row.type, text.c_str()));
            }
        });
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(std::ranges::count(seen, row.during), std::ssize(seen));
    }
}

TEST_F(DispatcherTest, DropsEverythingSilentlyWhileAFirmwareJobRuns) {
    context.busy = 1;
    context.state = AGENT_STATE_BUSY;
    log = log_of([&] {
        for (const int32_t type : {1034, 1000, 1014}) {
            msg_queue_push(context.queue, message(context, type));
        }
        std::thread controller(qv_agent_controller_thread, &context);
        int waiting = 1;
        while (waiting > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            sem_getvalue(&context.queue.semaphore, &waiting);
        }
        qv_agent_stop(context);
        controller.join();
    });
    EXPECT_EQ(log.find("process_msg"), std::string::npos) << log;
    EXPECT_TRUE(published(log).empty());
    EXPECT_EQ(context.state, AGENT_STATE_BUSY);
    EXPECT_EQ(context.queue.count, 0);
}

using ConnectionTest = AgentTest;

TEST_F(ConnectionTest, EachAskIsAnsweredByOneConnectionBegunAfterIt) {
    using enum AgentState;
    const auto make = [this](uint32_t begun) { qv_agent_connection_made(context, begun); };
    const auto begin = [this] { return qv_agent_connection_begun(context); };
    const auto step = [this] { // as the connect step, with a connection that answers
        qv_agent_order_connection(context);
        if (!qv_agent_renewal_due(context)) {
            EXPECT_TRUE(qv_agent_take_connection(context));
        }
    };
    const struct {
        const char* what;
        std::function<void()> happens;
        bool due;     ///< a connect step, at the next pass of the main loop
        bool renewal; ///< a connection more, once that step has ordered it
        AgentState state;
    } rows[] = {
        {"start", [&] { make(begin()); }, true, false, AGENT_STATE_ANNOUNCE},
        {"command", [&] { qv_agent_command_queued(context); }, false, false, AGENT_STATE_RUN},
        {"loss, made anew before the main loop wakes",
         [&] { qv_agent_connection_lost(context), make(begin()); }, true, false,
         AGENT_STATE_ANNOUNCE},
        {"the same, and a command on the new connection",
         [&] {
             qv_agent_connection_lost(context), make(begin());
             qv_agent_command_queued(context);
         },
         true, false, AGENT_STATE_RUN},
        {"a command only before it",
         [&] {
             qv_agent_command_queued(context);
             qv_agent_connection_lost(context), make(begin());
         },
         true, false, AGENT_STATE_ANNOUNCE},
        {"which ends only now", [&] { qv_agent_command_handled(context); }, false, false,
         AGENT_STATE_ANNOUNCE},
        {"ask before a connection is made anew",
         [&] {
             qv_agent_connection_lost(context), qv_agent_ask_connection(context);
             make(begin());
         },
         true, false, AGENT_STATE_ANNOUNCE},
        {"ask while it is made, with settings read before",
         [&] {
             qv_agent_connection_lost(context);
             const uint32_t begun = begin();
             qv_agent_ask_connection(context), make(begun);
         },
         true, true, AGENT_STATE_CONNECT},
        {"which is answered", [&] { make(begin()); }, true, false, AGENT_STATE_ANNOUNCE},
        {"ask after a loss, and a command behind it",
         [&] {
             qv_agent_connection_lost(context), make(begin());
             qv_agent_ask_connection(context), qv_agent_command_queued(context);
         },
         true, true, AGENT_STATE_RUN},
        {"which is answered", [&] { make(begin()); }, true, false, AGENT_STATE_ANNOUNCE},
    };
    context.marks.asks = context.marks.ordered = context.marks.answered = 0xFFFFFFFE; // runs over
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        row.happens();
        EXPECT_EQ(qv_agent_connect_due(context), row.due);
        if (row.due) {
            step();
        }
        EXPECT_EQ(qv_agent_renewal_due(context), row.renewal);
        EXPECT_EQ(qv_agent_connect_due(context), row.renewal);
        EXPECT_EQ(context.state, row.state);
    }
    qv_agent_connection_lost(context);
    qv_agent_command_handled(context); // one that was at work meanwhile
    EXPECT_TRUE(qv_agent_connect_due(context));
    std::atomic<bool> taken{false};
    std::thread main_loop([&] { taken = qv_agent_take_connection(context); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(taken); // it waits for one that stands
    make(begin());
    main_loop.join();
    EXPECT_TRUE(taken);
    qv_agent_connection_lost(context);
    qv_agent_stop(context);
    EXPECT_FALSE(qv_agent_take_connection(context));
}

using IntakeTest = AgentTest;

TEST_F(IntakeTest, QueuesWhatHasAReadableType) {
    const struct {
        std::string text;
        int32_t type; ///< 0 when dropped
        const char* line;
    } rows[] = {
        {R"({"type":1024,"timestamp":1700000000000})", 1024,
         "hdr.type: 1024, hdr.ts: 1700000000000\n"},
        {R"({"type":"1024"})", 1024,
         "map_json_field_to_value(): field_name timestamp not found\nhdr.type: 1024, hdr.ts: 0\n"},
        {R"({"type":-5,"timestamp":"1"})", -5, "hdr.type: -5, hdr.ts: 1\n"},
        // A NUL ends the copy, but not the length.
        {std::string(R"({"type":1000,"timestamp":1})") + '\0' + "rest", 1000, "hdr.type: 1000, "},
        {R"([1024])", 0, "map_json_field_to_value(): field_name type not found\n"},
        {"", 0, "inet_recv_request() json parse error, "},
        {std::string(1000, '['), 0, "inet_recv_request() json parse error, nesting too deep\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        context.state = AGENT_STATE_ANNOUNCE;
        const bool queued = row.type != 0;
        const auto length = static_cast<uint32_t>(row.text.size());
        log = log_of([&] {
            EXPECT_EQ(qv_agent_recv_msg(context, "topic", row.text.c_str(), length),
                      queued ? 0 : -1);
        });
        EXPECT_NE(log.find(row.line), std::string::npos) << log;
        EXPECT_EQ(context.state, queued ? AGENT_STATE_RUN : AGENT_STATE_ANNOUNCE);
        ASSERT_EQ(context.queue.count, queued ? 1 : 0);
        if (queued) {
            const ControllerMsgPtr taken = msg_queue_pop(context.queue);
            EXPECT_EQ(taken->type, row.type);
            EXPECT_STREQ(taken->payload.get(), row.text.c_str());
            EXPECT_EQ(taken->len, length);
            EXPECT_EQ(taken->ctx, &context);
        }
    }
}

using BrokerSettingsTest = AgentTest;

TEST_F(BrokerSettingsTest, CreatesReadsAndKeeps) {
    fake().broker_section = -1;
    EXPECT_EQ(log_of([&] { EXPECT_EQ(qv_load_broker_config(context), 0); }), "");
    EXPECT_STREQ(fake().broker.host, "127.0.0.1");
    EXPECT_EQ(fake().broker.port, 1883);
    EXPECT_STREQ(qv_agent_broker(context).host, "127.0.0.1");
    EXPECT_EQ(fake().calls,
              (std::vector<std::string>{"uciInit", "uciSectionExist system conf broker",
                                        "uciDestroy", "uci_add_section_system_config conf broker",
                                        "uci_set_system_broker_config broker"}));

    fake().broker = {8883, "a-host-of-23-characters"};
    EXPECT_EQ(log_of([&] { EXPECT_EQ(qv_load_broker_config(context), 0); }),
              "qva->broker: a-host-of-23-characters\nqva->broker: 8883\n");

    fake().calls.clear();
    fake().broker_section = 3; // the package cannot be read: that is no reason to write it
    memset(fake().broker.host, 'x', sizeof fake().broker.host);
    log_of([&] { EXPECT_EQ(qv_load_broker_config(context), 0); });
    EXPECT_EQ(std::ranges::count(fake().calls, "uci_set_system_broker_config broker"), 0);
    const BrokerConfig unterminated = qv_agent_broker(context);
    EXPECT_EQ(std::ranges::count(unterminated.host, 'x'), BROKER_HOST_SIZE - 1);

    fake().uci_init_result = 5;
    fake().broker.port = 1;
    EXPECT_EQ(log_of([&] { EXPECT_EQ(qv_load_broker_config(context), 5); }), "");
    EXPECT_EQ(qv_agent_broker(context).port, 8883);
}

TEST(InboxTest, BoundsWhatWaits) {
    const struct {
        size_t size, kept;
    } rows[] = {
        {1, Inbox::MESSAGES_MAX},
        {Inbox::BYTES_MAX / 4, 4},
        {Inbox::BYTES_MAX / 4 + 1, 3},
        {Inbox::BYTES_MAX + 1, 1}, // alone, any message is taken
    };
    Inbox inbox;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        std::string payload(row.size, 'x');
        std::string topic = "t";
        mosquitto_message message{};
        message.topic = topic.data();
        message.payload = payload.data();
        message.payloadlen = static_cast<int>(row.size);
        testing::internal::CaptureStdout();
        for (size_t i = 0; i < row.kept + 2; ++i) {
            message.mid = static_cast<int>(i);
            inbox.push(InboundMessage::copy_of(message));
        }
        const std::string line = "QV_ERR: inbound message of " + std::to_string(row.size) +
                                 " bytes dropped, too many wait\n";
        EXPECT_EQ(testing::internal::GetCapturedStdout(), line + line);
        for (size_t i = 0; i < row.kept; ++i) {
            ASSERT_EQ(inbox.pop()->message().mid, static_cast<int>(i));
        }
        EXPECT_EQ(inbox.pop(), nullptr); // and there is room again for the next row
    }
}

TEST(ReportStoreTest, DropsTheOldestWithALineEach) {
    ReportStore store;
    testing::internal::CaptureStdout();
    for (size_t i = 0; i < ReportStore::REPORTS_MAX + 2; ++i) {
        store.add("report " + std::to_string(i));
    }
    EXPECT_EQ(store.oldest(), "report 2");
    const std::string half(ReportStore::BYTES_MAX / 2, 'x');
    store.add(half);
    store.add(half);
    EXPECT_EQ(store.oldest(), half);
    store.add(std::string(ReportStore::BYTES_MAX + 1, 'y')); // never fits: the others stay
    EXPECT_EQ(store.oldest(), half);
    store.remove_oldest();
    store.remove_oldest();
    EXPECT_TRUE(store.empty());
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::ranges::count(log, '\n'), 2 + ReportStore::REPORTS_MAX + 1);
}

using LocalSocketTest = AgentTest;

TEST_F(LocalSocketTest, LogsDatagramsAndReplacesAnEarlierSocket) {
    const std::string path = "/tmp/qv_local_socket_test." + std::to_string(getpid());
    context.event_socket_config.path = path.c_str();
    for (int run = 0; run < 2; ++run) { // the second finds the file of the first
        ASSERT_EQ(qv_local_socket_open(context.event_socket_config, context.event_socket), 0);
        context.stop = 0;
        log = log_of([&] {
            std::thread reader(qv_local_recv_thread, &context);
            const ScopedFd sender(socket(AF_UNIX, SOCK_DGRAM, 0));
            for (const Bytes& datagram : {Bytes{3, 7}, Bytes{}, Bytes(5000, 200)}) {
                sendto(sender.get(), datagram.data(), datagram.size(), 0,
                       reinterpret_cast<const sockaddr*>(&context.event_socket.local),
                       context.event_socket.local_length);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            qv_agent_stop(context);
            reader.join();
        });
        EXPECT_EQ(log, "Recv Passive Msg: bytes = 2 component_type = 3, type = 7\n"
                       "Recv Passive Msg: bytes = 4096 component_type = 200, type = 200\n");
    }
    unlink(path.c_str());

    context.event_socket_config.path = "/nonexistent/folder/socket";
    context.stop = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(qv_local_socket_open(context.event_socket_config, context.event_socket), -1);
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("bind: "));
    qv_local_recv_thread(&context); // ends at once without a socket
}
