#include "agent/connection.h"
#include "agent/dispatcher.h"
#include "agent/take_connection.h"
#include "broker/inbox.h"
#include "broker/report_store.h"
#include "broker/settings.h"
#include "support.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

ControllerMsgPtr message(AgentContext& context, int32_t type, const char* text = "{}") {
    return qv_new_controller_msg(context, type, text, static_cast<uint32_t>(strlen(text)));
}

} // namespace

using DispatcherTest = AgentTest;

TEST_F(DispatcherTest, LinesAndStates) {
    const struct {
        int32_t type;
        const char* line;
        AgentState during, after; ///< `during` as what the handler calls sees it
    } rows[] = {
        {1000, "SUB MSG: payload={\"a\":1}\n", AGENT_STATE_ANNOUNCE, AGENT_STATE_RUN},
        {1017, "process_msg->type 1017\nqv_agent_controller_thread: unknown msg type\n",
         AGENT_STATE_ANNOUNCE, AGENT_STATE_RUN},
        {1034, "SUB MSG:payload={\"a\":1}\n", AGENT_STATE_BUSY, AGENT_STATE_RUN},
        {1014, "process_msg->type 1014\n", AGENT_STATE_BUSY, AGENT_STATE_CONNECT},
        // The main loop, which asks for it, goes on beside it.
        {1035, "QV_ERR: failed to fetch wifi stats..\n", AGENT_STATE_ANNOUNCE, AGENT_STATE_RUN},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        qv_agent_command_queued(context);
        context.state = AGENT_STATE_ANNOUNCE;
        fake().during_request = [&] { EXPECT_EQ(context.state, row.during); };
        log = log_of([&] {
            EXPECT_TRUE(qv_agent_process(context, *message(context, row.type, "{\"a\":1}")));
        });
        EXPECT_NE(log.find(row.line), std::string::npos) << log;
        EXPECT_EQ(context.state, row.after);
    }
    fake().during_request = nullptr;
    EXPECT_EQ(context.marks.asks, 2U); // a later command does not forget the reconnection
    EXPECT_EQ(fake().calls, std::vector<std::string>{"uci_set_system_broker_status 0"});
    for (const uint32_t word : {0U, 0x7FFFFFFFU, 0x80000000U}) {
        fake().replies[1] = Image(4).number(0, word, 4);
        run_command(1035, "{}");
        EXPECT_EQ(log, word < 0x80000000 ? "" : "QV_ERR: failed to fetch wifi stats..\n") << word;
    }
}

/// In a network namespace whose loopback interface takes the bridge's name: exit status 77 when
/// there is none to be had.
int check_identity_commands(AgentContext& context) {
    ifreq bridge{.ifr_ifrn = {"lo"}, .ifr_ifru = {}};
    strcpy(bridge.ifr_newname, "br-lan");
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return 77;
    }
    const ScopedFd interfaces(socket(AF_INET, SOCK_DGRAM, 0));
    EXPECT_EQ(ioctl(interfaces.get(), SIOCSIFNAME, &bridge), 0);
    strcpy(bridge.ifr_name, "br-lan");
    const sockaddr_in address{AF_INET, 0, {htonl(0xC0A80701)}, {}};
    memcpy(&bridge.ifr_addr, &address, sizeof address);
    for (const bool has_address : {false, true}) {
        EXPECT_TRUE(!has_address || ioctl(interfaces.get(), SIOCSIFADDR, &bridge) == 0);
        for (const int32_t type : {1011, 1012, 1013, 1029, 1030, 1031}) {
            SCOPED_TRACE(type);
            testing::internal::CaptureStdout();
            EXPECT_EQ(qv_agent_process(context, *message(context, type)), has_address);
            const std::string log = testing::internal::GetCapturedStdout();
            const std::string end = has_address    ? "ipaddr---------192.168.7.1\n"
                                    : type == 1029 ? "Fail to fetch device mac addr ..\n"
                                                   : "Fail to fetch device mac addr..\n";
            EXPECT_TRUE(log.ends_with("device_macaddr: 00:00:00:00:00:00\n" + end)) << log;
            EXPECT_EQ(context.state, !has_address   ? AGENT_STATE_BUSY
                                     : type == 1031 ? AGENT_STATE_ANNOUNCE
                                                    : AGENT_STATE_CONNECT);
        }
    }
    return testing::Test::HasFailure() ? 1 : 0;
}

TEST_F(DispatcherTest, IdentityIsReadAgain) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(check_identity_commands(context));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(status == 0 || WEXITSTATUS(status) == 77);
}

using ConnectionTest = AgentTest;

/// What is told of a connection.
enum class Event : uint8_t { begun, made, lost, asked, queued, handled };

TEST_F(ConnectionTest, EachAskIsAnsweredByOneConnectionBegunAfterIt) {
    using enum Event;
    const struct {
        const char* what;
        std::vector<Event> events;
        bool due;     ///< a connect step, at the next pass of the main loop
        bool renewal; ///< a connection more, once that step has ordered it
        AgentState state;
    } rows[] = {
        {"start", {begun, made}, true, false, AGENT_STATE_ANNOUNCE},
        {"command", {queued}, false, false, AGENT_STATE_RUN},
        {"loss, made anew before the main loop wakes",
         {lost, begun, made},
         true,
         false,
         AGENT_STATE_ANNOUNCE},
        {"and a command on it", {lost, begun, made, queued}, true, false, AGENT_STATE_RUN},
        {"only before it", {queued, lost, begun, made}, true, false, AGENT_STATE_ANNOUNCE},
        {"which ends only now", {handled}, false, false, AGENT_STATE_ANNOUNCE},
        {"ask before it begins", {lost, asked, begun, made}, true, false, AGENT_STATE_ANNOUNCE},
        {"ask behind that", {lost, begun, asked, made}, true, true, AGENT_STATE_CONNECT},
        {"answered", {begun, made}, true, false, AGENT_STATE_ANNOUNCE},
        {"ask, and a command", {lost, begun, made, asked, queued}, true, true, AGENT_STATE_RUN},
        {"answered", {begun, made}, true, false, AGENT_STATE_ANNOUNCE},
    };
    context.marks.asks = context.marks.ordered = context.marks.answered = 0xFFFFFFFE; // runs over
    uint32_t beginning = 0;
    const auto happen = [&](Event event) {
        switch (event) {
        case begun: beginning = qv_agent_connection_begun(context); break;
        case made: qv_agent_connection_made(context, beginning); break;
        case lost: qv_agent_connection_lost(context); break;
        case asked: qv_agent_ask_connection(context); break;
        case queued: qv_agent_command_queued(context); break;
        case handled: qv_agent_command_handled(context); break;
        }
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::ranges::for_each(row.events, happen);
        EXPECT_EQ(qv_agent_connect_due(context), row.due);
        if (row.due) {
            qv_agent_order_connection(context);
            EXPECT_TRUE(row.renewal || qv_agent_take_connection(context));
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
    std::ranges::for_each(std::vector{begun, made}, happen);
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
        std::string line;
    } rows[] = {
        {R"({"type":1024,"timestamp":1700000000000})", 1024,
         "hdr.type: 1024, hdr.ts: 1700000000000\n"},
        {R"({"type":"1024"})", 1024,
         "map_json_field_to_value(): field_name timestamp not found\nhdr.type: 1024, hdr.ts: 0\n"},
        // A NUL ends the copy, but not the length.
        {std::string(R"({"type":1000,"timestamp":1})") + '\0' + "rest", 1000, "hdr.type: 1000, "},
        {R"([1024])", 0, "map_json_field_to_value(): field_name type not found\n"},
        {std::string(1000, '['), 0, "inet_recv_request() json parse error, nesting too deep\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        context.state = AGENT_STATE_ANNOUNCE;
        const bool queued = row.type != 0;
        EXPECT_EQ(receive(row.text), queued ? 0 : -1);
        EXPECT_TRUE(log.starts_with(row.line)) << log;
        EXPECT_EQ(context.state, queued ? AGENT_STATE_RUN : AGENT_STATE_ANNOUNCE);
        ASSERT_EQ(context.queue.count, queued ? 1 : 0);
        if (queued) {
            ControllerMsgPtr taken;
            log = log_of([&] { taken = msg_queue_pop(context.queue); });
            EXPECT_EQ(log, "msg_queue_pop: 0\n");
            EXPECT_EQ(taken->type, row.type);
            EXPECT_STREQ(taken->payload.get(), row.text.c_str());
            EXPECT_EQ(taken->len, row.text.size());
            EXPECT_EQ(taken->ctx, &context);
        }
    }
}

using BrokerSettingsTest = AgentTest;

TEST_F(BrokerSettingsTest, CreatesReadsAndKeeps) {
    const auto load = [this] {
        int32_t result = 0;
        log = log_of([&] { result = qv_load_broker_config(context); });
        return result;
    };
    fake().broker_section = -1;
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(log, "");
    EXPECT_STREQ(fake().broker.host, "127.0.0.1");
    EXPECT_EQ(qv_agent_broker(context).port, 1883);
    fake().broker = {8883, "a-host-of-23-characters"};
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(log, "qva->broker: a-host-of-23-characters\nqva->broker: 8883\n");

    fake().calls.clear();
    fake().broker_section = 3; // the package cannot be read: that is no reason to write it
    memset(fake().broker.host, 'x', sizeof fake().broker.host);
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(std::ranges::count(fake().calls, "uci_set_system_broker_config broker"), 0);
    EXPECT_EQ(qv_agent_broker(context).host, std::string(BROKER_HOST_SIZE - 1, 'x'));

    fake().uci_init_result = 5;
    fake().broker.port = 1;
    EXPECT_EQ(load(), 5);
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
        mosquitto_message message{0, payload.data(), payload.data(), 0, 0, false};
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
    LocalSocket& socket = context.event_socket;
    for (int run = 0; run < 2; ++run) { // the second finds the file of the first
        ASSERT_EQ(qv_local_socket_open(context.event_socket_config, socket), 0);
        for (const Bytes& datagram : {Bytes{3, 7}, Bytes{}, Bytes(5000, 200)}) {
            sendto(socket.descriptor.get(), datagram.data(), datagram.size(), 0,
                   reinterpret_cast<const sockaddr*>(&socket.local), socket.local_length);
        }
        context.stop = 0;
        log = log_of([&] {
            std::thread reader(qv_local_recv_thread, &context);
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
    EXPECT_EQ(qv_local_socket_open(context.event_socket_config, socket), -1);
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("bind: "));
    qv_local_recv_thread(&context); // ends at once without a socket
}
