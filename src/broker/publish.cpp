#include "broker/publish.h"

#include "agent/context.h"
#include "broker/link_wait.h"
#include "broker/session.h"
#include "platform/log.h"
#include "protocol/topics.h"

#include <array>
#include <cstdio>
#include <string_view>

// Facts about libmosquitto 2.0 that shape this file. A client that was not declared threaded
// writes in the caller's own thread, as far as the socket takes it. The rest of a packet stays
// with the library, and so does a packet whose write failed: the result is then that of write(2),
// and the socket stays open until the loop's next write fails too. A packet that is with the
// library when a new connection is made is dropped.

namespace {

enum class Handover : uint8_t {
    complete, ///< the kernel has it
    partial,  ///< the library has it, or a part of it
    failed,   ///< the library refused it
};

void log_report(std::string_view report) {
    std::array<char, 64> beginning{};
    snprintf(beginning.data(), beginning.size(), "PUB MSG: topic=%s len=%d msg=", REPORT_TOPIC,
             static_cast<int>(report.size()));
    qv_log_text(beginning.data(), report);
}

Handover hand_over(MqttSession& session, std::string_view report) {
    const int result = mosquitto_publish(session.client, nullptr, REPORT_TOPIC,
                                         static_cast<int>(report.size()), report.data(), 0, false);
    session.spoke = MqttSession::Clock::now();
    switch (result) {
    case MOSQ_ERR_SUCCESS:
    case MOSQ_ERR_CONN_LOST:
    case MOSQ_ERR_ERRNO:
        return mosquitto_want_write(session.client) ? Handover::partial : Handover::complete;
    default: return Handover::failed;
    }
}

/// Waits, with the lock released, for room behind a broker that reads slowly.
void await_room(AgentContext& context, std::unique_lock<std::mutex>& guard, size_t size) {
    MqttSession& session = *context.session;
    session.moved.wait(guard, [&] {
        return !session.live || session.waiting.has_room(size) || qv_agent_stopping(context);
    });
}

} // namespace

void qv_mqtt_pump(MqttSession& session) {
    if (!session.live || session.waiting.empty()) {
        return;
    }
    while (!session.waiting.empty()) {
        if (!session.waiting.oldest_is_sending()) {
            const Handover result = hand_over(session, session.waiting.oldest());
            if (result == Handover::failed) {
                break;
            }
            session.waiting.mark_sending();
        }
        if (mosquitto_want_write(session.client)) {
            break;
        }
        session.waiting.remove_oldest();
    }
    session.moved.notify_all();
}

void qv_mqtt_hold(MqttSession& session) {
    session.live = false;
    if (session.waiting.oldest_is_sending() && !mosquitto_want_write(session.client)) {
        session.waiting.remove_oldest(); // it has left with the last that was written
    }
    session.waiting.unmark_sending();
    session.moved.notify_all();
}

void qv_mqtt_publish(AgentContext& context, const char* text, uint32_t length) {
    log_report({text, length});
    if (context.session == nullptr) {
        return;
    }
    MqttSession& session = *context.session;
    const std::string_view report(text, length);
    std::unique_lock guard(session.client_lock);
    await_room(context, guard, report.size());
    const bool at_once = session.live && session.waiting.empty();
    const Handover result = at_once ? hand_over(session, report) : Handover::failed;
    if (result == Handover::complete) {
        return;
    }
    session.waiting.add(report);
    if (result == Handover::partial) {
        session.waiting.mark_sending();
    }
    if (session.live) {
        qv_link_wake(session); // it writes the rest, or sees that the session has ended
    }
}

void qv_mqtt_await_written(AgentContext& context, std::chrono::milliseconds limit) {
    if (context.session == nullptr) {
        return;
    }
    MqttSession& session = *context.session;
    std::unique_lock guard(session.client_lock);
    session.moved.wait_until(guard, MqttSession::Clock::now() + limit,
                             [&] { return session.waiting.empty(); });
}
