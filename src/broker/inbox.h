// Inbound messages between the library's callback and the handler.
#ifndef QV_BROKER_INBOX_H
#define QV_BROKER_INBOX_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mosquitto.h>

/// One received message with its own copy of topic and payload, the payload NUL-terminated.
class InboundMessage {
public:
    /// A copy of the library's message, or none when memory is out.
    static std::unique_ptr<InboundMessage> copy_of(const mosquitto_message& message);

    ~InboundMessage();
    InboundMessage(const InboundMessage&) = delete;
    InboundMessage& operator=(const InboundMessage&) = delete;

    const mosquitto_message& message() const {
        return message_;
    }
    size_t size() const {
        return static_cast<size_t>(message_.payloadlen);
    }

    uint32_t begun = 0; ///< of the session in which it came
    std::unique_ptr<InboundMessage> next;

private:
    InboundMessage() = default;
    mosquitto_message message_{};
};

/// First-in-first-out list of one thread.
class Inbox {
public:
    Inbox() = default;
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;
    ~Inbox() {
        while (pop() != nullptr) { // one by one: a chain would release itself recursively
        }
    }

    /// Keeps the message, unless too many wait already: it is then dropped with one line. Nothing
    /// else bounds what a broker sends while a command holds up those behind it.
    void push(std::unique_ptr<InboundMessage> message);
    /// The oldest message, or none.
    std::unique_ptr<InboundMessage> pop();

    static constexpr uint32_t MESSAGES_MAX = 4096;
    static constexpr size_t BYTES_MAX = size_t{4} * 1024 * 1024;

private:
    std::unique_ptr<InboundMessage> head_;
    InboundMessage* tail_ = nullptr;
    uint32_t count_ = 0;
    size_t bytes_ = 0; ///< of payloads
};

#endif
