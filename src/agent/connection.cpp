#include "agent/connection.h"

#include "agent/context.h"

/// Their numbers run on past 2^32.
bool qv_agent_ask_before(uint32_t earlier, uint32_t later) {
    return static_cast<int32_t>(later - earlier) > 0;
}

void qv_agent_ask_connection(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    ++context.marks.asks;
    context.state = AGENT_STATE_CONNECT;
}

void qv_agent_command_queued(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    context.marks.spoken_to = true;
    context.state = AGENT_STATE_RUN;
}

void qv_agent_command_handled(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    context.state = context.marks.spoken_to ? AGENT_STATE_RUN : AGENT_STATE_ANNOUNCE;
}

uint32_t qv_agent_connection_begun(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    return context.marks.asks;
}

void qv_agent_connection_made(AgentContext& context, uint32_t begun) {
    {
        const std::lock_guard guard(context.lock);
        context.marks.answered = begun;
        ++context.marks.made;
        context.marks.stands = true;
        context.marks.spoken_to = false;
    }
    context.wake.notify_all();
}

void qv_agent_connection_lost(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    context.marks.stands = false;
    context.state = AGENT_STATE_CONNECT;
}

bool qv_agent_renewal_due(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    return qv_agent_ask_before(context.marks.answered, context.marks.ordered);
}

bool qv_agent_connect_due(const AgentContext& context) {
    const ConnectMarks& marks = context.marks;
    return !marks.stands || marks.made != marks.taken ||
           qv_agent_ask_before(marks.answered, marks.asks);
}

void qv_agent_order_connection(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    context.marks.ordered = context.marks.asks;
}
