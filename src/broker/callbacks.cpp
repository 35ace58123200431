#include "broker/callbacks.h"

#include "agent/context.h"
#include "broker/publish.h"
#include "broker/session.h"
#include "platform/log.h"
#include "protocol/topics.h"

#include <cstdio>

namespace {

AgentContext& context_of(void* user_data) {
    return *static_cast<AgentContext*>(user_data);
}

void subscribe(AgentContext& context, mosquitto* client) {
    const MacAddress mac = qv_agent_identity(context).macaddr;
    char topic[128] = {};
    snprintf(topic, sizeof topic, "%s%02x:%02x:%02x:%02x:%02x:%02x", COMMAND_TOPIC_START, mac[0],
             mac[1], mac[2], mac[3], mac[4], mac[5]);
    const int subscribed = mosquitto_subscribe(client, nullptr, topic, 0);
    if (subscribed == MOSQ_ERR_SUCCESS) {
        qv_log("Successfully subscribed to topic\nSUB TOPIC=%s\n", topic);
    } else {
        qv_log("订阅主题失败：错误代码 %d\n", subscribed);
    }
}

/// SUBACK's return code for a topic that was refused, in MQTT 3.1.1.
constexpr int SUBSCRIPTION_REFUSED = 0x80;

} // namespace

ClientPtr qv_make_client(AgentContext& context) {
    ClientPtr client(mosquitto_new(nullptr, true, &context));
    if (client == nullptr) {
        qv_log("Error: Out of memory.\n");
        return client;
    }
    mosquitto_connect_callback_set(client.get(), qv_on_connect);
    mosquitto_subscribe_callback_set(client.get(), qv_on_subscribe);
    mosquitto_message_callback_set(client.get(), qv_on_message);
    mosquitto_disconnect_callback_set(client.get(), qv_on_disconnect);
    // Without it two reports in a row wait for the broker's delayed acknowledgement, 40 ms.
    mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1);
    return client;
}

void qv_on_connect(mosquitto* client, void* user_data, int result) {
    AgentContext& context = context_of(user_data);
    if (result != 0) {
        qv_log("Error with result code: %d\n", result);
        return;
    }
    if (context.session->mqtt_connected == 1) {
        subscribe(context, client);
    }
    context.session->live = true;
}

void qv_on_subscribe(mosquitto* /*client*/, void* /*user_data*/, int /*message_id*/, int count,
                     const int* granted) {
    if (count > 0 && granted[0] >= SUBSCRIPTION_REFUSED) {
        qv_log("QV_ERR: the broker refuses the subscription, no command will come\n");
    }
}

void qv_on_message(mosquitto* /*client*/, void* user_data, const mosquitto_message* message) {
    if (message->payloadlen == 0) {
        qv_log("%s (null)\n", message->topic);
        return;
    }
    std::unique_ptr<InboundMessage> copy = InboundMessage::copy_of(*message);
    if (copy != nullptr) {
        LinkState& link = context_of(user_data).session->link;
        copy->begun = link.begun;
        link.inbox.push(std::move(copy));
    }
}

void qv_on_disconnect(mosquitto* /*client*/, void* user_data, int result) {
    MqttSession& session = *context_of(user_data).session;
    session.ended = true;
    session.end_result = result;
    qv_mqtt_hold(session);
}
