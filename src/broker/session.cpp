#include "broker/session.h"

#include "agent/context.h"
#include "agent/identity.h"
#include "broker/intake.h"
#include "broker/publish.h"
#include "broker/settings.h"
#include "platform/scoped_fd.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

// Facts about libmosquitto 2.0 that shape this file. Its own thread (mosquitto_loop_start)
// reconnects behind the agent's back, drops connections made by callbacks and ends for good on a
// protocol error, so a thread of ours drives the client. A connect call from a callback deadlocks
// and one from another thread corrupts memory, so every connect call is made on that thread,
// outside callbacks. No keep-alive is sent while a callback works, so the callbacks only take
// notes and the inbound messages are handled between two turns of the loop.

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int KEEP_ALIVE_S = 15;
constexpr seconds RETRY_PAUSE{2};
/// For one attempt to reach the host, and again for the broker to accept the session.
constexpr seconds ATTEMPT_LIMIT{10};
/// For the last packets of a session that is closed on purpose.
constexpr milliseconds CLOSE_LIMIT{500};
/// Inbound messages read at most before a session is left.
constexpr int UNREAD_MAX = 1000;
/// How long a request to the network thread may go unseen while the connection is idle.
constexpr int LOOP_MS = 500;
constexpr int POLL_MS = 250;

// --- Callbacks: on the network thread, inside mosquitto_loop ---

AgentContext& context_of(void* user_data) {
    return *static_cast<AgentContext*>(user_data);
}

void qv_on_connect(mosquitto* client, void* user_data, int result) {
    AgentContext& context = context_of(user_data);
    if (result != 0) {
        printf("Error with result code: %d\n", result);
        return;
    }
    context.session->link.accepted = true;
    if (context.session->mqtt_connected == 0) {
        return;
    }
    const MacAddress mac = qv_agent_identity(context).macaddr;
    char topic[128] = {};
    snprintf(topic, sizeof topic, "qv/device_%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
             mac[3], mac[4], mac[5]);
    const int subscribed = mosquitto_subscribe(client, nullptr, topic, 0);
    if (subscribed == MOSQ_ERR_SUCCESS) {
        printf("Successfully subscribed to topic\nSUB TOPIC=%s\n", topic);
    } else {
        printf("订阅主题失败：错误代码 %d\n", subscribed);
    }
}

void qv_on_message(mosquitto* /*client*/, void* user_data, const mosquitto_message* message) {
    if (message->payloadlen == 0) {
        printf("%s (null)\n", message->topic);
        return;
    }
    std::unique_ptr<InboundMessage> copy = InboundMessage::copy_of(*message);
    if (copy != nullptr) {
        context_of(user_data).session->link.inbox.push(std::move(copy));
    }
}

void qv_on_disconnect(mosquitto* /*client*/, void* user_data, int result) {
    AgentContext& context = context_of(user_data);
    MqttSession& session = *context.session;
    session.link.ended = true;
    if (session.link.leaving) {
        return;
    }
    session.mqtt_connected = 0; // first: a connect step that sees the loss waits for the next one
    qv_agent_connection_lost(context);
    uci_set_system_broker_status(0);
    printf("Disconnected from MQTT broker with result code: %d\n", result);
}

// --- Connecting: on the network thread ---

/// Milliseconds until then, at most POLL_MS.
int poll_time(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, POLL_MS));
}

/// Waits for the TCP connection. Returns a library result as mosquitto_connect would.
int await_connection(const AgentContext& context, int descriptor, Clock::time_point deadline) {
    pollfd writable{.fd = descriptor, .events = POLLOUT, .revents = 0};
    while (poll(&writable, 1, poll_time(deadline)) <= 0) {
        if (qv_agent_stopping(context) || Clock::now() >= deadline) {
            errno = ETIMEDOUT;
            return MOSQ_ERR_ERRNO;
        }
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
        errno = error;
        return MOSQ_ERR_ERRNO;
    }
    return MOSQ_ERR_SUCCESS;
}

/// One connect call. The library closes what an earlier call left open.
int connect_to(AgentContext& context, const char* address, int port, Clock::time_point deadline) {
    mosquitto* const client = context.session->client;
    const int result = mosquitto_connect_async(client, address, port, KEEP_ALIVE_S);
    if (result != MOSQ_ERR_SUCCESS) {
        return result;
    }
    const int descriptor = mosquitto_socket(client);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return await_connection(context, descriptor, deadline);
}

/// One attempt to reach the broker: its host's addresses in turn, which share the time that is
/// left. (The library's own resolving cannot be bounded, and it would try the first address only.)
int attempt(AgentContext& context, const BrokerConfig& broker) {
    auto& link = context.session->link;
    link.accepted = false;
    link.ended = false;
    link.overdue = false;
    const Clock::time_point deadline = Clock::now() + ATTEMPT_LIMIT;
    const HostAddresses addresses = link.lookup.find(context, broker.host, deadline);
    int result = MOSQ_ERR_EAI;
    for (uint32_t i = 0;
         i < addresses.count && result != MOSQ_ERR_SUCCESS && !qv_agent_stopping(context); ++i) {
        const Clock::time_point now = Clock::now();
        result = connect_to(context, addresses.text[i].data(), broker.port,
                            now + (deadline - now) / (addresses.count - i));
    }
    return result;
}

/// Pauses until the next attempt is due. False when the agent stops.
bool await_turn(AgentContext& context) {
    MqttSession& session = *context.session;
    std::unique_lock guard(session.lock);
    return !session.changed.wait_until(guard, session.link.next_attempt,
                                       [&context] { return qv_agent_stopping(context); });
}

/// The connect loop: attempts until one succeeds, at most one every two seconds. False when the
/// agent stops.
bool connect_loop(AgentContext& context) {
    MqttSession& session = *context.session;
    session.mqtt_connected = 0;
    uci_set_system_broker_status(0);
    for (;;) {
        if (!await_turn(context)) {
            return false;
        }
        session.link.next_attempt = Clock::now() + RETRY_PAUSE;
        qv_load_broker_config(context);
        const BrokerConfig broker = qv_agent_broker(context);
        const int result = attempt(context, broker);
        if (qv_agent_stopping(context)) {
            return false;
        }
        printf("%s %d\n", broker.host, broker.port);
        if (result == MOSQ_ERR_SUCCESS) {
            return true;
        }
        printf("COULD NOT CONNECT: %d\n", result);
        session.link.next_attempt = Clock::now() + RETRY_PAUSE;
    }
}

void connection_made(AgentContext& context) {
    MqttSession& session = *context.session;
    session.mqtt_connected = 1;
    qv_get_device_info(context);
    uci_set_system_broker_status(1);
    {
        const std::lock_guard guard(session.lock);
        ++session.connections;
        session.reconnect_asked = false;
    }
    session.changed.notify_all();
}

// --- Serving a connection: on the network thread ---

/// As the library reports a lost connection, for losses that it does not see itself.
void report_loss(AgentContext& context, int result) {
    qv_on_disconnect(context.session->client, &context, result);
}

/// One turn of the library's loop: at most one inbound message.
void turn(AgentContext& context, int timeout_ms) {
    MqttSession& session = *context.session;
    const int result = mosquitto_loop(session.client, timeout_ms, 1);
    if (result != MOSQ_ERR_SUCCESS && !session.link.ended) {
        report_loss(context, result);
    }
}

bool input_waits(int descriptor) {
    pollfd readable{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&readable, 1, 0) > 0;
}

/// Writes what the library still holds.
void write_packets(MqttSession& session, Clock::time_point deadline) {
    while (!session.link.ended && mosquitto_want_write(session.client) && Clock::now() < deadline) {
        pollfd writable{.fd = mosquitto_socket(session.client), .events = POLLOUT, .revents = 0};
        poll(&writable, 1, poll_time(deadline));
        mosquitto_loop_write(session.client, 1);
    }
}

/// Reads until the broker has closed its end. A socket that is closed before would reset the
/// connection, and take the last packets along.
void await_close(int descriptor, Clock::time_point deadline) {
    char ignored[4096];
    pollfd readable{.fd = descriptor, .events = POLLIN, .revents = 0};
    do {
        poll(&readable, 1, poll_time(deadline));
    } while (Clock::now() < deadline &&
             recv(descriptor, ignored, sizeof ignored, MSG_DONTWAIT) != 0);
}

/// Hands the session's own packets to the broker and leaves it with a DISCONNECT. The library
/// takes an inbound message for a fault from then on, so what has arrived is read before.
void leave(AgentContext& context) {
    MqttSession& session = *context.session;
    const Clock::time_point deadline = Clock::now() + CLOSE_LIMIT;
    qv_mqtt_hold(session);
    const ScopedFd socket(fcntl(mosquitto_socket(session.client), F_DUPFD_CLOEXEC, 0));
    for (int i = 0; i < UNREAD_MAX && !session.link.ended && input_waits(socket.get()); ++i) {
        turn(context, 0);
    }
    session.link.leaving = true;
    if (!session.link.ended && mosquitto_disconnect(session.client) == MOSQ_ERR_SUCCESS) {
        write_packets(session, deadline);
        await_close(socket.get(), deadline);
    }
    session.link.leaving = false;
}

/// Handles what was read. Reports wait meanwhile: a handler may block this thread for longer than
/// the broker waits for a sign of life, and what the library then holds would be lost.
void handle_inbox(AgentContext& context) {
    MqttSession& session = *context.session;
    while (const std::unique_ptr<InboundMessage> inbound = session.link.inbox.pop()) {
        if (qv_agent_stopping(context)) {
            continue; // no command begins any more
        }
        qv_mqtt_hold(session);
        write_packets(session, Clock::now() + CLOSE_LIMIT);
        const Clock::time_point begin = Clock::now();
        const mosquitto_message& message = inbound->message();
        context.msg_handler(context, message.topic, static_cast<const char*>(message.payload),
                            static_cast<uint32_t>(message.payloadlen));
        if (Clock::now() - begin > seconds(KEEP_ALIVE_S)) {
            session.link.overdue = true;
        }
    }
}

bool to_be_left(const MqttSession& session) {
    return session.closing || session.reconnect_asked;
}

/// Until the connection is lost, or is to be left.
void serve(AgentContext& context) {
    MqttSession& session = *context.session;
    const Clock::time_point acceptance_deadline = Clock::now() + ATTEMPT_LIMIT;
    while (!session.link.ended) {
        if (to_be_left(session)) {
            leave(context);
            return;
        }
        turn(context, session.link.overdue ? 0 : LOOP_MS);
        handle_inbox(context);
        if (session.link.ended) {
            break;
        }
        if (session.link.overdue) {
            // What the broker sent before it gave the session up is still read; then a new one.
            if (!input_waits(mosquitto_socket(session.client))) {
                report_loss(context, MOSQ_ERR_KEEPALIVE);
            }
        } else if (session.link.accepted) {
            qv_mqtt_go_live(session);
        } else if (Clock::now() >= acceptance_deadline) {
            report_loss(context, MOSQ_ERR_TIMEOUT);
        }
    }
    qv_mqtt_hold(session);
}

/// Thread entry (argument: the agent context): one session after the other. It owns the client
/// and `link`; the rest of the session is shared under its lock.
void* network_thread(void* agent_context) {
    AgentContext& context = context_of(agent_context);
    while (connect_loop(context)) {
        connection_made(context);
        serve(context);
    }
    return nullptr;
}

// --- The main thread's side ---

bool create_client(AgentContext& context) {
    MqttSession& session = *context.session;
    mosquitto_lib_init();
    context.msg_handler = qv_agent_recv_msg;
    session.client = mosquitto_new(nullptr, true, &context);
    if (session.client == nullptr) {
        puts("Error: Out of memory.");
        return false;
    }
    mosquitto_connect_callback_set(session.client, qv_on_connect);
    mosquitto_message_callback_set(session.client, qv_on_message);
    mosquitto_disconnect_callback_set(session.client, qv_on_disconnect);
    mosquitto_threaded_set(session.client, true);
    // Without it two reports in a row wait for the broker's delayed acknowledgement, 40 ms.
    mosquitto_int_option(session.client, MOSQ_OPT_TCP_NODELAY, 1);
    return true;
}

void release_client(MqttSession& session) {
    if (session.client != nullptr) {
        mosquitto_destroy(session.client);
        session.client = nullptr;
        mosquitto_lib_cleanup();
    }
}

bool start(AgentContext& context) {
    MqttSession& session = *context.session;
    if (!create_client(context)) {
        return false;
    }
    if (!session.network.start("qv-network", network_thread, &context)) {
        release_client(session);
        return false;
    }
    return true;
}

/// Whether the connection that the connect step answers to was lost; the marks are taken.
bool take_marks(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    const bool lost = context.connection_lost;
    context.connection_lost = false;
    context.connect_asked = false;
    return lost;
}

} // namespace

int32_t qv_mqtt_connect(AgentContext& context) {
    MqttSession& session = *context.session;
    const bool lost = take_marks(context);
    const bool first = session.client == nullptr;
    if (first && !start(context)) {
        return -1;
    }
    std::unique_lock guard(session.lock);
    const uint32_t before = first ? 0 : session.connections;
    if (!first && !lost) {
        session.reconnect_asked = true;
    }
    session.changed.wait(guard, [&] {
        return qv_agent_stopping(context) || session.connections != before ||
               (lost && session.mqtt_connected == 1);
    });
    return qv_agent_stopping(context) ? -1 : 0;
}

void qv_mqtt_interrupt(AgentContext& context) {
    MqttSession& session = *context.session;
    {
        // A waiter that has just looked at the stop flag is asleep once the lock is ours.
        const std::lock_guard guard(session.lock);
    }
    session.changed.notify_all();
}

void qv_mqtt_close(AgentContext& context) {
    MqttSession& session = *context.session;
    {
        const std::lock_guard guard(session.lock);
        session.closing = true;
    }
    qv_mqtt_interrupt(context);
    if (session.client == nullptr) {
        return;
    }
    session.network.join();
    uci_set_system_broker_status(0);
    release_client(session);
}
