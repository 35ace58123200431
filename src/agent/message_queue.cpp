#include "agent/message_queue.h"

#include "platform/heap.h"
#include "platform/log.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

ControllerMsgPtr qv_new_controller_msg(AgentContext& context, int32_t type, const char* text,
                                       uint32_t length) {
    ControllerMsgPtr message(new (std::nothrow) ControllerMsg);
    if (message == nullptr) {
        return nullptr;
    }
    message->payload.reset(strdup(text));
    if (message->payload == nullptr) {
        return nullptr;
    }
    message->type = type;
    message->len = length;
    message->ctx = &context;
    return message;
}

void msg_queue_init(MsgQueue& queue) {
    queue.head = nullptr;
    queue.tail = nullptr;
    queue.count = 0;
    queue.longest = 0;
    sem_init(&queue.semaphore, 0, 0);
}

void msg_queue_push(MsgQueue& queue, ControllerMsgPtr message) {
    int32_t count = 0;
    {
        const std::lock_guard guard(queue.lock);
        ControllerMsg* const added = message.release();
        if (queue.tail == nullptr) {
            queue.head = added;
        } else {
            queue.tail->next = added;
        }
        queue.tail = added;
        count = ++queue.count;
        queue.longest = std::max(queue.longest, count);
    }
    qv_log("msg_queue_push: %d\n", count);
    sem_post(&queue.semaphore); // the popping thread would wait for the log otherwise
}

namespace {

/// Whether the queue has just come to the end of a long row of messages; asked once for each.
bool was_long(MsgQueue& queue) {
    const std::lock_guard guard(queue.lock);
    return queue.count == 0 && std::exchange(queue.longest, 0) >= LONG_QUEUE;
}

/// Unlinks the head and stores the number of messages left.
ControllerMsgPtr take_head(MsgQueue& queue, int32_t& left) {
    const std::lock_guard guard(queue.lock);
    ControllerMsgPtr message(queue.head);
    if (message != nullptr) {
        queue.head = message->next;
        if (queue.head == nullptr) {
            queue.tail = nullptr;
        }
        --queue.count;
    }
    left = queue.count;
    return message;
}

} // namespace

ControllerMsgPtr msg_queue_pop(MsgQueue& queue) {
    sem_wait(&queue.semaphore);
    int32_t left = 0;
    ControllerMsgPtr message = take_head(queue, left);
    qv_log("msg_queue_pop: %d\n", left);
    if (left == 0 && was_long(queue)) {
        qv_trim_heap();
    }
    return message;
}

void msg_queue_destroy(MsgQueue& queue) {
    int32_t left = 0;
    while (take_head(queue, left) != nullptr) {
    }
    sem_destroy(&queue.semaphore);
}
