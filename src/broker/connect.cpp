#include "broker/connect.h"

#include "agent/context.h"
#include "agent/identity.h"
#include "broker/link_wait.h"
#include "broker/secure.h"
#include "broker/session.h"
#include "broker/settings.h"
#include "broker/tls.h"
#include "platform/log.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace {

using Clock = MqttSession::Clock;

constexpr std::chrono::seconds RETRY_PAUSE{2};

bool handshake_begun(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    return qv_tls_handshake_begun(session.client);
}

/// Waits for the TCP connection. Returns a library result as mosquitto_connect would.
int await_connection(AgentContext& context, int descriptor, Clock::time_point deadline) {
    if (!qv_link_await(context, descriptor, POLLOUT, deadline)) {
        errno = ETIMEDOUT;
        return MOSQ_ERR_ERRNO;
    }
    if (handshake_begun(*context.session)) {
        return MOSQ_ERR_SUCCESS; // if it has ended since, the handshake tells why
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
        errno = error;
        return MOSQ_ERR_ERRNO;
    }
    // With TLS the library has tried to write already, and so has taken the error of a refusal.
    sockaddr_storage peer{};
    size = sizeof peer;
    const bool connected = getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
    return connected ? MOSQ_ERR_SUCCESS : MOSQ_ERR_ERRNO;
}

short handshake_awaits(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    return qv_tls_handshake_awaits(session.client);
}

/// Waits for the TLS handshake, if there is one. Returns a library result.
int await_handshake(AgentContext& context, int descriptor, Clock::time_point deadline) {
    MqttSession& session = *context.session;
    int result = MOSQ_ERR_SUCCESS;
    for (short awaited = handshake_awaits(session); awaited != 0 && result == MOSQ_ERR_SUCCESS;
         awaited = handshake_awaits(session)) {
        if (awaited == POLLERR) {
            return MOSQ_ERR_TLS;
        }
        if (qv_link_gives_up(session) || Clock::now() >= deadline ||
            !qv_link_await(context, descriptor, awaited, deadline)) {
            if (!qv_link_gives_up(session)) {
                qv_log("QV_ERR: TLS handshake failed: no answer in time\n");
            }
            return MOSQ_ERR_TLS;
        }
        const std::lock_guard guard(session.client_lock);
        result = mosquitto_loop_read(session.client, 1);
    }
    return result;
}

/// One connect call. The library closes what an earlier call left open.
int connect_to(AgentContext& context, const char* address, int port, Clock::time_point deadline) {
    MqttSession& session = *context.session;
    int descriptor = -1;
    {
        const std::lock_guard guard(session.client_lock);
        session.ended = false;
        const int result = mosquitto_connect_async(session.client, address, port, KEEP_ALIVE_S);
        if (result != MOSQ_ERR_SUCCESS) {
            return result;
        }
        descriptor = mosquitto_socket(session.client);
        session.spoke = Clock::now();
    }
    session.link.heard = Clock::now();
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    const int result = await_connection(context, descriptor, deadline);
    return result == MOSQ_ERR_SUCCESS ? await_handshake(context, descriptor, deadline) : result;
}

/// One attempt to reach the broker: its host's addresses in turn, which share the time that is
/// left. (The library's own resolving cannot be bounded, and it would try the first address only.)
int attempt(AgentContext& context, const BrokerConfig& broker, Clock::time_point deadline) {
    MqttSession& session = *context.session;
    int result = qv_link_secure(context, broker.host);
    if (result != MOSQ_ERR_SUCCESS) {
        return result;
    }
    const HostAddresses addresses = session.link.lookup.find(context, broker.host, deadline);
    result = MOSQ_ERR_EAI;
    for (uint32_t i = 0;
         i < addresses.count && result != MOSQ_ERR_SUCCESS && !qv_link_gives_up(session); ++i) {
        const Clock::time_point now = Clock::now();
        result = connect_to(context, addresses.text[i].data(), broker.port,
                            now + (deadline - now) / (addresses.count - i));
    }
    return result;
}

bool reports_wait(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    return !session.waiting.empty();
}

/// Pauses until the next attempt is due. False when there shall be none.
bool await_turn(AgentContext& context) {
    MqttSession& session = *context.session;
    while (!session.closing && Clock::now() < session.link.next_attempt) {
        qv_link_wait(context, -1, 0, session.link.next_attempt);
    }
    if (!session.closing) {
        return true;
    }
    const bool first_of_its_kind = !std::exchange(session.link.last_attempt, true);
    return first_of_its_kind && reports_wait(session);
}

void connection_made(AgentContext& context, uint32_t begun) {
    context.session->mqtt_connected = 1;
    qv_get_device_info(context);
    uci_set_system_broker_status(1);
    context.session->link.begun = begun;
    qv_agent_connection_made(context, begun);
}

} // namespace

bool qv_link_connect(AgentContext& context) {
    MqttSession& session = *context.session;
    session.mqtt_connected = 0;
    uci_set_system_broker_status(0);
    while (await_turn(context)) {
        session.link.next_attempt = Clock::now() + RETRY_PAUSE;
        qv_agent_start_changes(context);
        const uint32_t begun = qv_agent_connection_begun(context);
        qv_load_broker_config(context);
        const BrokerConfig broker = qv_agent_broker(context);
        const auto limit = session.link.last_attempt ? LAST_ATTEMPT_LIMIT : ATTEMPT_LIMIT;
        const Clock::time_point deadline = Clock::now() + limit;
        const int result = attempt(context, broker, deadline);
        if (result != MOSQ_ERR_SUCCESS && qv_link_gives_up(session)) {
            continue;
        }
        qv_log("%s %d\n", broker.host, broker.port);
        if (result == MOSQ_ERR_SUCCESS) {
            const bool one_limit = session.link.last_attempt || session.link.secured;
            session.link.accept_by = one_limit ? deadline : Clock::now() + limit;
            connection_made(context, begun);
            return true;
        }
        qv_log("COULD NOT CONNECT: %d\n", result);
        session.link.next_attempt = Clock::now() + RETRY_PAUSE;
    }
    return false;
}
