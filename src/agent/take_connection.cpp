#include "agent/take_connection.h"

#include "agent/context.h"

namespace {

/// Waits for what `wanted` asks of the context, with `guard` held when it asks.
template <class Predicate>
void wait_until(AgentContext& context, std::unique_lock<std::mutex>& guard, Predicate wanted) {
    while (!wanted()) {
        const auto deadline = qv_agent_change_deadline(context);
        const auto moved = [&] {
            return wanted() || qv_agent_change_deadline(context) != deadline;
        };
        if (deadline == PendingChange::NEVER) {
            context.wake.wait(guard, moved);
        } else if (!context.wake.wait_until(guard, deadline, moved)) {
            guard.unlock();
            qv_agent_queue_due_changes(context);
            guard.lock();
        }
    }
}

} // namespace

bool qv_agent_take_connection(AgentContext& context) {
    std::unique_lock guard(context.lock);
    ConnectMarks& marks = context.marks;
    wait_until(context, guard, [&] {
        return qv_agent_stopping(context) ||
               (marks.stands && !qv_agent_ask_before(marks.answered, marks.ordered));
    });
    if (qv_agent_stopping(context)) {
        return false;
    }
    marks.taken = marks.made;
    context.state = marks.spoken_to ? AGENT_STATE_RUN : AGENT_STATE_ANNOUNCE;
    return true;
}
