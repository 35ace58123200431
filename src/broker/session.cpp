#include "broker/session.h"

#include "agent/context.h"
#include "agent/take_connection.h"
#include "broker/callbacks.h"
#include "broker/connect.h"
#include "broker/intake.h"
#include "broker/link_wait.h"
#include "broker/serve.h"
#include "platform/log.h"

#include <sys/eventfd.h>
#include <utility>

// Facts about libmosquitto 2.0 that shape the broker link. Its own thread (mosquitto_loop_start)
// reconnects behind the agent's back, drops connections made by callbacks and ends for good on a
// protocol error, so a thread of ours drives the client, with one lock around every call. A
// connect call from a callback deadlocks and one from another thread corrupts memory, so every
// connect call is made on that thread, outside callbacks. mosquitto_loop waits inside the call,
// and would keep the lock meanwhile; so the thread polls the socket itself.

namespace {

void release_client(MqttSession& session) {
    ClientPtr(std::exchange(session.client, nullptr)).reset();
    mosquitto_lib_cleanup();
}

/// Thread entry (argument: the agent context): one session after the other.
void* network_thread(void* agent_context) {
    auto& context = *static_cast<AgentContext*>(agent_context);
    while (qv_link_connect(context)) {
        qv_link_serve(context);
    }
    return nullptr;
}

bool start(AgentContext& context) {
    MqttSession& session = *context.session;
    mosquitto_lib_init();
    context.msg_handler = qv_agent_recv_msg;
    session.client = qv_make_client(context).release();
    session.wake.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (session.client == nullptr || !session.wake.valid() ||
        !session.network.start("qv-network", network_thread, &context)) {
        session.wake.reset();
        release_client(session);
        return false;
    }
    return true;
}

} // namespace

int32_t qv_mqtt_connect(AgentContext& context) {
    MqttSession& session = *context.session;
    if (!session.wake.valid() && !start(context)) {
        return -1;
    }
    qv_agent_order_connection(context);
    qv_link_wake(session);
    return qv_agent_take_connection(context) ? 0 : -1;
}

void qv_mqtt_interrupt(AgentContext& context) {
    MqttSession& session = *context.session;
    {
        // A waiter that has just looked at the stop flag is asleep once the lock is ours.
        const std::lock_guard guard(session.client_lock);
    }
    session.moved.notify_all();
}

void qv_mqtt_close(AgentContext& context) {
    MqttSession& session = *context.session;
    if (!session.wake.valid()) {
        return;
    }
    session.closing = true;
    qv_link_wake(session);
    session.network.join();
    if (!session.waiting.empty()) {
        qv_log("QV_ERR: %u reports dropped, no session with the broker\n", session.waiting.count());
    }
    uci_set_system_broker_status(0);
    release_client(session);
}
