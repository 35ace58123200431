#include "agent/pending_change.h"

#include "agent/context.h"

#include <algorithm>
#include <utility>

using Clock = PendingChange::Clock;
using enum ChangeStage;

namespace {

PendingChange& change_of(AgentContext& context, NetworkPart part) {
    return context.changes.of[static_cast<size_t>(part)];
}

/// Whether the deadline of the change counts.
bool is_unsettled(const PendingChange& change) {
    return change.stage == waiting || change.stage == due;
}

bool is_at_hand(const PendingChange& change) {
    return change.stage == due && change.deadline == PendingChange::NEVER;
}

/// Without memory for the message the changes that are due wait for the next pause.
void tell_controller_thread(AgentContext& context) {
    ControllerMsgPtr message = qv_new_controller_msg(context, 0, "", 0);
    if (message == nullptr) {
        const std::lock_guard guard(context.lock);
        context.changes.queued = false;
        for (PendingChange& change : context.changes.of) {
            if (is_at_hand(change)) {
                change.deadline = Clock::now() + TAKE_BACK_PAUSE;
            }
        }
        return;
    }
    message->own = context.settle_changes;
    msg_queue_push(context.queue, std::move(message));
}

/// Changes stages with `lock` held. Returns whether the controller thread is to be told.
template <class Edit>
bool edit_all(AgentContext& context, Edit edit) {
    const std::lock_guard guard(context.lock);
    bool edited = false;
    for (PendingChange& change : context.changes.of) {
        edited = edit(change) || edited;
    }
    return edited && !std::exchange(context.changes.queued, true);
}

} // namespace

void qv_agent_change_begun(AgentContext& context, NetworkPart part, uint16_t seconds) {
    const std::lock_guard guard(context.lock);
    change_of(context, part) = {.stage = waiting,
                                .seconds = seconds,
                                .ask = context.marks.asks + 1, // that of the command's ending
                                .deadline = Clock::now() + std::chrono::seconds(seconds)};
    context.wake.notify_all();
}

bool qv_agent_keeps(AgentContext& context, NetworkPart part) {
    const std::lock_guard guard(context.lock);
    const PendingChange& change = change_of(context, part);
    return is_unsettled(change) || change.stage == given_up;
}

std::array<ChangeStage, NETWORK_PARTS> qv_agent_changes_to_settle(AgentContext& context) {
    std::array<ChangeStage, NETWORK_PARTS> work{};
    const std::lock_guard guard(context.lock);
    context.changes.queued = false;
    for (size_t i = 0; i < NETWORK_PARTS; ++i) {
        PendingChange& change = context.changes.of[i];
        if (is_at_hand(change) && context.busy == 1) {
            change.deadline = Clock::now() + TAKE_BACK_PAUSE;
            context.wake.notify_all();
        } else if (is_at_hand(change) || change.stage == confirmed) {
            work[i] = change.stage;
        }
    }
    return work;
}

void qv_agent_change_settled(AgentContext& context, NetworkPart part) {
    const std::lock_guard guard(context.lock);
    change_of(context, part) = {};
}

uint8_t qv_agent_take_back_failed(AgentContext& context, NetworkPart part) {
    const std::lock_guard guard(context.lock);
    PendingChange& change = change_of(context, part);
    if (++change.failures > TAKE_BACK_REPEATS) {
        change.stage = given_up;
    } else {
        change.deadline = Clock::now() + TAKE_BACK_PAUSE;
    }
    context.wake.notify_all();
    return change.failures;
}

void qv_agent_change_found(AgentContext& context, NetworkPart part, uint16_t seconds) {
    const std::lock_guard guard(context.lock);
    change_of(context, part) = {.stage = waiting, .seconds = seconds, .ask = context.marks.asks};
}

void qv_agent_start_changes(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    for (PendingChange& change : context.changes.of) {
        if (change.stage == waiting && change.deadline == PendingChange::NEVER) {
            change.deadline = Clock::now() + std::chrono::seconds(change.seconds);
            context.wake.notify_all();
        }
    }
}

void qv_agent_confirm_changes(AgentContext& context, uint32_t begun) {
    const auto confirm = [begun](PendingChange& change) {
        if (change.stage == waiting && !qv_agent_ask_before(begun, change.ask)) {
            change.stage = confirmed;
        }
        return change.stage == confirmed; // of an earlier one, too, that memory was out to tell of
    };
    if (edit_all(context, confirm)) {
        tell_controller_thread(context);
    }
}

bool qv_agent_change_pending(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    return std::ranges::any_of(context.changes.of, is_unsettled);
}

Clock::time_point qv_agent_change_deadline(const AgentContext& context) {
    Clock::time_point first = PendingChange::NEVER;
    for (const PendingChange& change : context.changes.of) {
        if (is_unsettled(change)) {
            first = std::min(first, change.deadline);
        }
    }
    return first;
}

void qv_agent_queue_due_changes(AgentContext& context) {
    const auto end_wait = [now = Clock::now()](PendingChange& change) {
        if (!is_unsettled(change) || change.deadline > now) {
            return false;
        }
        change.stage = due;
        change.deadline = PendingChange::NEVER;
        return true;
    };
    if (edit_all(context, end_wait)) {
        tell_controller_thread(context);
    }
}
