#include "broker/intake.h"

#include "agent/context.h"
#include "broker/session.h"
#include "json/json_field.h"
#include "platform/log.h"

#include <algorithm>

int32_t qv_json_parse_msg_hdr(MsgHdr& header, const char* text, uint32_t length) {
    const JsonPtr root = inet_recv_request(text, length);
    header.has_type =
        map_json_field_to_value(root.get(), FIELD_TYPE_INT, "type", &header.type) == 1;
    const bool complete = header.has_type && map_json_field_to_value(root.get(), FIELD_TYPE_UINT64,
                                                                     "timestamp", &header.ts) == 1;
    return complete ? 0 : -1;
}

namespace {

int32_t queue(AgentContext& context, int32_t type, const char* text, uint32_t length) {
    ControllerMsgPtr message = qv_new_controller_msg(context, type, text, length);
    if (message == nullptr) {
        return -1;
    }
    msg_queue_push(context.queue, std::move(message));
    qv_agent_command_queued(context);
    return 0;
}

/// To its end, and queues it where it goes to the controller thread as well.
int32_t run_command(AgentContext& context, const IntakeCommand& command, const char* text,
                    uint32_t length) {
    if (command.busy_first) {
        qv_agent_set_state(context, AGENT_STATE_BUSY);
    }
    command.handler(context, text, length);
    return command.queued_too ? queue(context, command.type, text, length) : 0;
}

} // namespace

int32_t qv_agent_recv_msg(AgentContext& context, const char* /*topic*/, const char* text,
                          uint32_t length) {
    MsgHdr hdr;
    qv_json_parse_msg_hdr(hdr, text, length);
    if (!hdr.has_type) {
        return -1;
    }
    qv_log("hdr.type: %d, hdr.ts: %llu\n", hdr.type, static_cast<unsigned long long>(hdr.ts));
    const auto command = std::ranges::find(context.intake_commands, hdr.type, &IntakeCommand::type);
    const bool is_queued = command == context.intake_commands.end() || command->queued_too;
    if (is_queued && context.session != nullptr && context.session->link.came_in) {
        qv_agent_confirm_changes(context, *context.session->link.came_in);
    }
    if (command == context.intake_commands.end()) {
        return queue(context, hdr.type, text, length);
    }
    return context.session == nullptr
               ? run_command(context, *command, text, length)
               : context.session->intake.start(run_command, context, *command, text, length);
}
