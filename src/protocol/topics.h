// MQTT topics.
#ifndef QV_PROTOCOL_TOPICS_H
#define QV_PROTOCOL_TOPICS_H

/// Reports of all devices.
inline constexpr const char* REPORT_TOPIC = "qv/dev_to_controller";

/// Commands to one device; its MAC address follows, as qv_mac_to_string writes it.
inline constexpr const char* COMMAND_TOPIC_START = "qv/device_";

#endif
