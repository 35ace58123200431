// qvagent: management agent of a wireless access point.
#include "agent/context.h"
#include "agent/dispatcher.h"
#include "agent/identity.h"
#include "broker/session.h"
#include "commands.h"
#include "network/take_back.h"
#include "platform/heap.h"
#include "platform/log.h"
#include "report_kinds.h"
#include "state_machine.h"

#include <chrono>
#include <csignal>
#include <cstdio>

namespace {

/// Every thread inherits the mask; the signals then reach the thread that waits for them.
sigset_t block_stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void stop(AgentContext& context) {
    qv_agent_stop(context);
    qv_mqtt_interrupt(context);
}

struct SignalWatch {
    AgentContext& context;
    sigset_t signals;
};

/// Thread entry (argument: a SignalWatch): turns the first signal into the stop flag.
void* signal_thread(void* argument) {
    const auto& watch = *static_cast<SignalWatch*>(argument);
    int number = 0;
    sigwait(&watch.signals, &number);
    stop(watch.context);
    return nullptr;
}

/// How long an agent that answers no command any more goes on publishing what it is asked for.
constexpr std::chrono::seconds IDENTITY_PATIENCE{60};

/// Thread entry (argument: the agent context): the controller thread. Where it has to end because
/// the identity cannot be read, the agent follows, so that its supervisor starts it anew.
void* controller_thread(void* agent_context) {
    auto& context = *static_cast<AgentContext*>(agent_context);
    qv_agent_controller_thread(&context);
    if (!qv_agent_stops_within(context, IDENTITY_PATIENCE)) {
        qv_log("QV_ERR: device identity unreadable for 60 s, the agent ends\n");
        context.failed = 1;
        stop(context);
    }
    return nullptr;
}

void start_threads(AgentContext& context) {
    qv_local_socket_open(context.event_socket_config, context.event_socket);
    context.reader.start("qv-events", qv_local_recv_thread, &context);
    context.controller.start("qv-controller", controller_thread, &context);
}

/// A network change that waits for its confirmation may have cost the bridge its address: the agent
/// stays, to take it back.
bool read_identity(AgentContext& context) {
    constexpr std::chrono::seconds PAUSE{1};
    while (qv_get_device_info(context) < 0) {
        if (!qv_agent_change_pending(context) || qv_agent_stops_within(context, PAUSE)) {
            qv_log("Fail to fetch device mac addr..\n");
            return false;
        }
        qv_agent_start_changes(context);
        qv_agent_queue_due_changes(context);
    }
    return true;
}

int32_t run(AgentContext& context) {
    if (!read_identity(context)) {
        return -1;
    }
    const int32_t result = qv_agent_state_machine(context);
    return context.failed == 1 ? -1 : result;
}

/// A handler or tool that is under way ends by itself, and what it reports still goes out.
void stop_threads(AgentContext& context) {
    stop(context);
    context.controller.join();
    context.session->intake.await_idle(); // it may have started the worker
    context.worker.join();
    qv_mqtt_close(context);
    context.reader.join();
}

} // namespace

int main() {
    qv_settle_heap();
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // the support library's lines are seen at once too

    static MqttSession session;
    static AgentContext qva;
    qva.session = &session;
    qva.commands = qv_commands;
    qva.intake_commands = qv_intake_commands;
    qva.report_kinds = qv_report_kinds;
    qva.settle_changes = qv_settle_changes;
    msg_queue_init(qva.queue);
    qv_find_changes(qva);

    SignalWatch watch{qva, block_stop_signals()};
    Thread signals;
    signals.start("qv-signals", signal_thread, &watch);

    start_threads(qva);
    const int32_t result = run(qva);
    stop_threads(qva);
    signals.signal(SIGTERM);
    signals.join();
    msg_queue_destroy(qva.queue);
    return result;
}
