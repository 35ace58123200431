// Network changes that are taken back unless a command confirms them: which are pending, and until
// when. What is kept of them, and the work, is `network/`.
#ifndef QV_AGENT_PENDING_CHANGE_H
#define QV_AGENT_PENDING_CHANGE_H

#include "platform/monotonic_condition.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

struct AgentContext;

/// What one change replaces as a whole.
enum class NetworkPart : uint8_t { lan, wan, wan6 };
inline constexpr size_t NETWORK_PARTS = 3;

/// Between two attempts to put settings back, and how many follow the first one.
inline constexpr std::chrono::seconds TAKE_BACK_PAUSE{30};
inline constexpr uint8_t TAKE_BACK_REPEATS = 10;

enum class ChangeStage : uint8_t {
    none,
    waiting,   ///< for a command in a session that was begun after the change
    confirmed, ///< by one: what was kept is of no use any more
    due,       ///< not confirmed in time: what was kept is to be applied
    given_up,  ///< it could not be: what was kept stays for the next start
};

struct PendingChange {
    using Clock = MonotonicCondition::Clock;
    static constexpr Clock::time_point NEVER = Clock::time_point::max();

    ChangeStage stage = ChangeStage::none;
    uint8_t failures = 0; ///< attempts to put the settings back that failed
    uint16_t seconds = 0; ///< that a command has to confirm it
    uint32_t ask = 0;     ///< a session that answers it was begun after the change
    /// Of the wait, or for the next attempt to put back; none for one at hand.
    Clock::time_point deadline = NEVER;
};

/// Guarded by the context's `lock`, edited by the operations below alone. While nothing is pending
/// no deadline is waited for.
struct PendingChanges {
    std::array<PendingChange, NETWORK_PARTS> of{};
    bool queued = false; ///< the controller thread was told of some, and has not looked yet
};

// --- By the controller thread ---

/// A change is about to be applied, what it replaces is kept. Its time runs, anew where one of the
/// same part is pending.
void qv_agent_change_begun(AgentContext& context, NetworkPart part, uint16_t seconds);

/// Whether what was kept for the part stands for an unconfirmed change, and has to stay.
bool qv_agent_keeps(AgentContext& context, NetworkPart part);

/// What is to be done now, by part: no stages but `none`, `confirmed` and `due`. While a firmware
/// job runs nothing is taken back; the next look is a pause later.
std::array<ChangeStage, NETWORK_PARTS> qv_agent_changes_to_settle(AgentContext& context);

/// The part is as it was, or as it was confirmed.
void qv_agent_change_settled(AgentContext& context, NetworkPart part);

/// It could not be put back: again after the pause, unless that was the last attempt. Returns the
/// number of attempts so far.
uint8_t qv_agent_take_back_failed(AgentContext& context, NetworkPart part);

// --- By the start-up ---

/// A change was pending when the last agent ended. Its time runs from the first attempt to connect,
/// or from qv_agent_start_changes.
void qv_agent_change_found(AgentContext& context, NetworkPart part, uint16_t seconds);

// --- By the network thread ---

/// An attempt to connect begins, or cannot begin.
void qv_agent_start_changes(AgentContext& context);

/// A command came in the session whose attempt was begun at that ask: tells the controller thread
/// of the changes that it confirms.
void qv_agent_confirm_changes(AgentContext& context, uint32_t begun);

// --- By the main loop, and by the start-up ---

bool qv_agent_change_pending(AgentContext& context);

/// When qv_agent_queue_due_changes is to be called next. The caller holds `lock`.
PendingChange::Clock::time_point qv_agent_change_deadline(const AgentContext& context);

/// Tells the controller thread of the changes whose time is over, if there are any.
void qv_agent_queue_due_changes(AgentContext& context);

#endif
