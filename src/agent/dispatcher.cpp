#include "agent/dispatcher.h"

#include "agent/context.h"
#include "agent/identity.h"
#include "platform/log.h"

#include <algorithm>
#include <unistd.h>

namespace {

const Command* find_command(const AgentContext& context, int32_t type) {
    const auto row = std::ranges::find(context.commands, type, &Command::type);
    return row == context.commands.end() ? nullptr : &*row;
}

/// Queued commands are dropped while a firmware job runs.
bool firmware_job_running(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    return context.busy == 1;
}

bool refresh_identity(AgentContext& context, const Command& command) {
    if (qv_get_device_info(context) < 0) {
        qv_log("%s\n", command.identity_failure);
        return qv_agent_change_pending(context); // it may have cost the address: it is taken back
    }
    return true;
}

/// Returns false when the thread must end.
bool finish(AgentContext& context, const Command& command) {
    switch (command.ending) {
    case CommandEnding::refresh_identity:
    case CommandEnding::reconnect:
        if (!refresh_identity(context, command)) {
            return false;
        }
        break;
    case CommandEnding::normal:
    case CommandEnding::broker_reconnect: break;
    }
    if (qv_reconnects(command.ending)) {
        qv_agent_ask_connection(context);
    } else {
        qv_agent_command_handled(context);
    }
    return true;
}

} // namespace

bool qv_agent_process(AgentContext& context, const ControllerMsg& message) {
    qv_log("process_msg->type %d\n", message.type);
    const Command* const command = find_command(context, message.type);
    if (command == nullptr) {
        qv_log("qv_agent_controller_thread: unknown msg type\n");
        qv_agent_command_handled(context);
        return true;
    }
    if (command->busy_first) {
        qv_agent_set_state(context, AGENT_STATE_BUSY);
    }
    command->handler(*message.ctx, message.payload.get(), message.len);
    return finish(context, *command);
}

void* qv_agent_controller_thread(void* agent_context) {
    auto& context = *static_cast<AgentContext*>(agent_context);
    bool identity_known = true;
    while (identity_known && !qv_agent_stopping(context)) {
        const ControllerMsgPtr message = msg_queue_pop(context.queue);
        if (qv_agent_stopping(context)) {
            break; // no command begins any more
        }
        if (message == nullptr) {
            sleep(1);
        } else if (message->own != nullptr) {
            message->own(context, message->payload.get(), message->len);
        } else if (!firmware_job_running(context)) {
            identity_known = qv_agent_process(context, *message);
        }
    }
    return nullptr;
}
