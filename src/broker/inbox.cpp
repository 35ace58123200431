#include "broker/inbox.h"

#include "platform/log.h"

#include <new>
#include <utility>

std::unique_ptr<InboundMessage> InboundMessage::copy_of(const mosquitto_message& message) {
    std::unique_ptr<InboundMessage> copy(new (std::nothrow) InboundMessage);
    if (copy != nullptr && mosquitto_message_copy(&copy->message_, &message) != MOSQ_ERR_SUCCESS) {
        copy->message_ = {}; // the library released what it had copied
        return nullptr;
    }
    return copy;
}

InboundMessage::~InboundMessage() {
    mosquitto_message_free_contents(&message_);
}

void Inbox::push(std::unique_ptr<InboundMessage> message) {
    InboundMessage* const added = message.get();
    if (count_ > 0 && (count_ == MESSAGES_MAX || bytes_ + added->size() > BYTES_MAX)) {
        qv_log("QV_ERR: inbound message of %zu bytes dropped, too many wait\n", added->size());
        return;
    }
    ++count_;
    bytes_ += added->size();
    if (tail_ == nullptr) {
        head_ = std::move(message);
    } else {
        tail_->next = std::move(message);
    }
    tail_ = added;
}

std::unique_ptr<InboundMessage> Inbox::pop() {
    std::unique_ptr<InboundMessage> message = std::move(head_);
    if (message != nullptr) {
        --count_;
        bytes_ -= message->size();
        head_ = std::move(message->next);
        if (head_ == nullptr) {
            tail_ = nullptr;
        }
    }
    return message;
}
