#include "broker/serve.h"

#include "agent/context.h"
#include "broker/connect.h"
#include "broker/link_wait.h"
#include "broker/publish.h"
#include "broker/session.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"

#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace {

using Clock = MqttSession::Clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// For the last packets of a session that is left on purpose.
constexpr milliseconds CLOSE_LIMIT{500};
/// Inbound messages read at most before a session is left.
constexpr int UNREAD_MAX = 1000;

/// What the thread waits for, and where the session stands.
struct Interest {
    int descriptor = -1;
    short events = POLLIN;
    Clock::time_point keep_alive; ///< when the library has to look at the time
    bool ended = false;
    bool accepted = false;
    bool reports_wait = false;
};

Interest interest_of(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    Interest result;
    result.descriptor = mosquitto_socket(session.client);
    if (mosquitto_want_write(session.client)) {
        result.events |= POLLOUT;
    }
    result.keep_alive = std::min(session.spoke, session.link.heard) + seconds(KEEP_ALIVE_S);
    result.ended = session.ended;
    result.accepted = session.live;
    result.reports_wait = !session.waiting.empty();
    return result;
}

void write_pending(MqttSession& session) {
    mosquitto_loop_write(session.client, 1);
    session.spoke = Clock::now();
}

/// Sends a ping, or finds that the last one was not answered, when it is time.
void check_keep_alive(MqttSession& session) {
    const Clock::time_point before = Clock::now() - seconds(KEEP_ALIVE_S);
    if (session.spoke > before && session.link.heard > before) {
        return;
    }
    mosquitto_loop_misc(session.client);
    session.spoke = Clock::now();
    session.link.heard = session.spoke;
}

/// Reads one inbound message at most, or all that TLS has decrypted, and writes what is left over.
void serve_once(MqttSession& session, short events) {
    const std::lock_guard guard(session.client_lock);
    if ((events & ~POLLOUT) != 0) {
        mosquitto_loop_read(session.client, 1);
        session.link.heard = Clock::now();
    }
    if (!session.ended && mosquitto_want_write(session.client)) {
        write_pending(session);
    }
    if (!session.ended) {
        qv_mqtt_pump(session);
        check_keep_alive(session);
    }
}

void report_loss(AgentContext& context) {
    MqttSession& session = *context.session;
    session.mqtt_connected = 0; // first: a connect step that sees the loss waits for the next one
    qv_agent_connection_lost(context);
    uci_set_system_broker_status(0);
    qv_log("Disconnected from MQTT broker with result code: %d\n", session.end_result);
}

// --- Leaving ---

bool all_written(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    const bool reports_left = session.live && !session.waiting.empty();
    return session.ended || (!reports_left && !mosquitto_want_write(session.client));
}

void write_all(AgentContext& context, Clock::time_point deadline) {
    MqttSession& session = *context.session;
    while (!all_written(session) && Clock::now() < deadline) {
        qv_link_wait(context, interest_of(session).descriptor, POLLOUT, deadline);
        serve_once(session, 0);
    }
}

/// The library takes an inbound message for a fault once the DISCONNECT is on its way, so what has
/// arrived is read before, and begins at once.
void read_all(AgentContext& context) {
    MqttSession& session = *context.session;
    for (int i = 0; i < UNREAD_MAX; ++i) {
        const Interest now = interest_of(session);
        pollfd readable{.fd = now.descriptor, .events = POLLIN, .revents = 0};
        if (now.ended || poll(&readable, 1, 0) <= 0) {
            break;
        }
        serve_once(session, POLLIN);
        qv_link_take_inbox(context);
    }
}

/// Reads until the broker has closed its end. A socket that is closed before would reset the
/// connection, and take the last packets along.
void await_close(AgentContext& context, int descriptor, Clock::time_point deadline) {
    char ignored[4096];
    do {
        qv_link_wait(context, descriptor, POLLIN, deadline);
    } while (Clock::now() < deadline &&
             recv(descriptor, ignored, sizeof ignored, MSG_DONTWAIT) != 0);
}

/// The library closes the socket as soon as it has written the DISCONNECT.
bool disconnect(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    if (session.ended) {
        return false;
    }
    session.live = false; // what is on its way still goes before the DISCONNECT
    session.end_result = mosquitto_disconnect(session.client);
    return session.end_result == MOSQ_ERR_SUCCESS;
}

/// Hands the session's reports to the broker and leaves it with a DISCONNECT. False when it was
/// lost before.
bool leave(AgentContext& context) {
    MqttSession& session = *context.session;
    const Clock::time_point deadline = Clock::now() + CLOSE_LIMIT;
    const ScopedFd socket(fcntl(interest_of(session).descriptor, F_DUPFD_CLOEXEC, 0));
    read_all(context);
    write_all(context, deadline);
    if (!disconnect(session)) {
        const std::lock_guard guard(session.client_lock);
        qv_mqtt_hold(session);
        return false;
    }
    write_all(context, deadline);
    await_close(context, socket.get(), deadline);
    return true;
}

/// When the agent closes, reports that wait have a last chance: the broker may accept yet.
bool leave_due(AgentContext& context, const Interest& now) {
    MqttSession& session = *context.session;
    if (!session.closing) {
        return qv_agent_renewal_due(context);
    }
    if (now.accepted || !now.reports_wait) {
        return true;
    }
    if (!std::exchange(session.link.last_attempt, true)) {
        session.link.accept_by =
            std::min(session.link.accept_by, Clock::now() + LAST_ATTEMPT_LIMIT);
    }
    return false;
}

/// Unless the broker has accepted the session just now, or ended it.
void end_unaccepted(MqttSession& session) {
    const std::lock_guard guard(session.client_lock);
    if (session.live || session.ended) {
        return;
    }
    session.ended = true;
    session.end_result = MOSQ_ERR_TIMEOUT;
    qv_mqtt_hold(session);
}

} // namespace

void qv_link_serve(AgentContext& context) {
    MqttSession& session = *context.session;
    for (Interest now = interest_of(session); !now.ended; now = interest_of(session)) {
        if (leave_due(context, now)) {
            if (leave(context)) {
                return;
            }
            break;
        }
        const LinkState& link = session.link;
        const auto deadline =
            now.accepted ? now.keep_alive : std::min(now.keep_alive, link.accept_by);
        serve_once(session, qv_link_wait(context, now.descriptor, now.events, deadline));
        qv_link_take_inbox(context);
        if (!now.accepted && Clock::now() >= link.accept_by) {
            end_unaccepted(session);
        }
    }
    report_loss(context);
}
