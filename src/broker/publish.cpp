#include "broker/publish.h"

#include "agent/context.h"
#include "broker/session.h"
#include "protocol/topics.h"

#include <cstdio>
#include <string_view>

namespace {

// The library only queues the packet here and wakes the network thread, which writes it.
bool hand_over(mosquitto* client, std::string_view report) {
    return mosquitto_publish(client, nullptr, REPORT_TOPIC, static_cast<int>(report.size()),
                             report.data(), 0, false) == MOSQ_ERR_SUCCESS;
}

} // namespace

void qv_mqtt_go_live(MqttSession& session) {
    if (session.live) { // and nothing waits
        return;
    }
    const std::lock_guard guard(session.lock);
    session.live = true;
    while (session.live && !session.waiting.empty()) {
        session.live = hand_over(session.client, session.waiting.oldest());
        if (session.live) {
            session.waiting.remove_oldest();
        }
    }
}

void qv_mqtt_hold(MqttSession& session) {
    const std::lock_guard guard(session.lock);
    session.live = false;
}

void qv_mqtt_publish(AgentContext& context, const char* text, uint32_t length) {
    printf("PUB MSG: topic=%s len=%d msg=%s\n", REPORT_TOPIC, static_cast<int>(length), text);
    if (context.session == nullptr) {
        return;
    }
    MqttSession& session = *context.session;
    const std::string_view report(text, length);
    const std::lock_guard guard(session.lock);
    session.live = session.live && hand_over(session.client, report);
    if (!session.live) {
        session.waiting.add(report); // the network thread goes live again, and sends it first
    }
}
