// What the library tells of a session. It does so inside our calls, hence with the client's lock
// held; the callbacks take notes, and the network thread acts on them between two calls.
#ifndef QV_BROKER_CALLBACKS_H
#define QV_BROKER_CALLBACKS_H

#include <memory>
#include <mosquitto.h>

struct AgentContext;

struct ClientRelease {
    void operator()(mosquitto* client) const {
        mosquitto_destroy(client);
    }
};

/// Owner of one client; the library must be initialised.
using ClientPtr = std::unique_ptr<mosquitto, ClientRelease>;

/// A client with the callbacks below. None, with a line, when memory is out.
ClientPtr qv_make_client(AgentContext& context);

/// CONNACK: subscribes to the command topic; from here on reports go out. `user_data` is the
/// agent context, here and below.
void qv_on_connect(mosquitto* client, void* user_data, int result);

/// SUBACK: a refusal is logged; the session goes on without commands.
void qv_on_subscribe(mosquitto* client, void* user_data, int message_id, int count,
                     const int* granted);

/// Keeps a copy of the message in the inbox.
void qv_on_message(mosquitto* client, void* user_data, const mosquitto_message* message);

/// The session has ended: lost, refused, or left by our DISCONNECT.
void qv_on_disconnect(mosquitto* client, void* user_data, int result);

#endif
