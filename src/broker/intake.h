// Intake of inbound messages: reads the header and hands the message on.
#ifndef QV_BROKER_INTAKE_H
#define QV_BROKER_INTAKE_H

#include <cstdint>

struct AgentContext;

struct MsgHdr {
    int32_t type = 0; ///< "type", a number or a decimal string
    uint64_t ts = 0;  ///< "timestamp", milliseconds since 1970; 0 when it cannot be read
    bool has_type = false;
};

/// Reads the header of a message text of `length` bytes. Returns 0 when both members were read,
/// otherwise -1, after the field reader's line; `has_type` then tells whether the type was.
int32_t qv_json_parse_msg_hdr(MsgHdr& header, const char* text, uint32_t length);

/// Receives every non-empty inbound payload, on the network thread: gives the commands of the
/// context's intake table to the intake worker, queues the others for the controller thread and
/// sets AGENT_STATE_RUN; what it queues confirms network changes. A message without a readable type
/// is dropped. `text` is NUL-terminated, valid during the call. Returns 0, or -1 when the message
/// could not be read or handed on. A context without a session has no worker: the call runs such a
/// command itself.
int32_t qv_agent_recv_msg(AgentContext& context, const char* topic, const char* text,
                          uint32_t length);

#endif
