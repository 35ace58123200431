// A client of the MQTT library that reaches and convinces the broker as the options say.
#ifndef QVCTL_CLIENT_H
#define QVCTL_CLIENT_H

#include "options.h"

#include <memory>
#include <mosquitto.h>

namespace qvctl {

struct ClientDeleter {
    void operator()(mosquitto* client) const {
        mosquitto_destroy(client);
    }
};
using ClientPtr = std::unique_ptr<mosquitto, ClientDeleter>;

/// A client with login and certificates, not connected yet. `protocol` is MQTT_PROTOCOL_V5 or
/// MQTT_PROTOCOL_V311; callbacks get `user`. Throws Failure when a file cannot be read, or when
/// the options would leave out what they seem to ask for.
ClientPtr new_client(const Options& options, int protocol, void* user);

} // namespace qvctl

#endif
