// Between publishers and the client: reports go out while the session is live and wait otherwise.
#ifndef QV_BROKER_PUBLISH_H
#define QV_BROKER_PUBLISH_H

struct MqttSession;

/// From here on reports go to the client, those that wait first, in their order.
void qv_mqtt_go_live(MqttSession& session);

/// From here on reports wait.
void qv_mqtt_hold(MqttSession& session);

#endif
