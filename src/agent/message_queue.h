// The hand-over of controller messages to the one thread that handles them.
#ifndef QV_AGENT_MESSAGE_QUEUE_H
#define QV_AGENT_MESSAGE_QUEUE_H

#include "agent/command.h"
#include "platform/owned_text.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <semaphore.h>

/// One queued message.
struct ControllerMsg {
    int32_t type = 0;            ///< 1000 to 1035 for known commands
    OwnedText payload;           ///< the message text
    uint32_t len = 0;            ///< bytes received, without the terminator
    AgentContext* ctx = nullptr; ///< what the handler is given
    /// What the agent tells itself: run in place of the type's handler, also during firmware jobs.
    CommandHandler* own = nullptr;
    ControllerMsg* next = nullptr;
};

using ControllerMsgPtr = std::unique_ptr<ControllerMsg>;

/// Unbounded first-in-first-out list: any number of producers, one consumer.
struct MsgQueue {
    ControllerMsg* head = nullptr; ///< oldest, owned by the queue
    ControllerMsg* tail = nullptr; ///< newest
    int32_t count = 0;             ///< messages from head to tail
    int32_t longest = 0;           ///< highest count since the queue was empty
    std::mutex lock;               ///< guards the four above
    sem_t semaphore{};             ///< one post per pushed message
};

/// A message with its own copy of the text up to its NUL, or none when memory is out.
/// `length` is the number of bytes received, which may count more than the copy holds.
ControllerMsgPtr qv_new_controller_msg(AgentContext& context, int32_t type, const char* text,
                                       uint32_t length);

void msg_queue_init(MsgQueue& queue);

/// Appends the message, whose `next` is none, and prints the count including it.
void msg_queue_push(MsgQueue& queue, ControllerMsgPtr message);

/// A queue that was as long as this gives its memory back to the system once it is empty.
inline constexpr int32_t LONG_QUEUE = 1000;

/// Takes the oldest message, blocking while there is none. Returns none when the wait ended
/// without a message: a signal interrupted it, or the agent stops.
ControllerMsgPtr msg_queue_pop(MsgQueue& queue);

/// Releases what is still queued, and the semaphore.
void msg_queue_destroy(MsgQueue& queue);

#endif
