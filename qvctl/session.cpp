#include "session.h"

#include "failure.h"
#include "platform/scoped_fd.h"
#include "protocol/topics.h"
#include "words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mqtt_protocol.h>
#include <sys/socket.h>
#include <vector>

namespace qvctl {

namespace {

constexpr int KEEP_ALIVE = 15; // seconds, as the two below
constexpr double BROKER_TIMEOUT = 10;
constexpr double FAREWELL_TIMEOUT = 3;
constexpr double RECONNECT_PAUSE = 1;
/// The library wants its housekeeping done about once a second.
constexpr std::chrono::milliseconds HOUSEKEEPING{1000};
constexpr int NOT_GRANTED = 0x80; // in place of a QoS, and as reason: this and above

int milliseconds_until(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), HOUSEKEEPING).count());
}

/// Whether the other end has closed the connection. What it sent before is dropped.
bool is_closed(int socket) {
    char ignored[4096];
    ssize_t size = 0;
    while ((size = recv(socket, ignored, sizeof ignored, MSG_DONTWAIT)) > 0) {
    }
    return size == 0 || (errno != EAGAIN && errno != EINTR);
}

} // namespace

Session::Session(const Options& options, OnLoss on_loss)
    : options_(options), broker_(options.host + ":" + std::to_string(options.broker_port())),
      timeout_(options.timeout_or(BROKER_TIMEOUT)), on_loss_(on_loss) {
    if (options.insecure) {
        fprintf(stderr, "warning: --insecure: whoever has a certificate of the same authority may "
                        "pose as the broker\n");
    }
    const auto deadline = after(timeout_);
    if (!connect(MQTT_PROTOCOL_V5, deadline)) {
        connect(MQTT_PROTOCOL_V311, deadline);
    }
}

/// Returns whether the broker speaks this version of the protocol, with a session then.
bool Session::connect(int protocol, Clock::time_point deadline) {
    protocol_ = protocol;
    refusal_.clear();
    answer_.reset();
    client_ = new_client(options_, protocol, this);
    mosquitto_connect_callback_set(client_.get(), on_connect);
    mosquitto_subscribe_callback_set(client_.get(), on_subscribe);
    mosquitto_publish_v5_callback_set(client_.get(), on_publish);
    mosquitto_message_callback_set(client_.get(), on_message);
    mosquitto_log_callback_set(client_.get(), on_log);
    check(mosquitto_connect_async(client_.get(), options_.host.c_str(), options_.broker_port(),
                                  KEEP_ALIVE));
    await_connection(deadline);
    while (!subscribed_) {
        // The library knows best how to wait for a connection that is still being made.
        const int result = mosquitto_loop(client_.get(), milliseconds_until(deadline), 1);
        if (protocol == MQTT_PROTOCOL_V5 && is_other_protocol(result)) {
            return false;
        }
        check(result);
        if (!subscribed_ && Clock::now() >= deadline) {
            fail("no answer");
        }
    }
    return true;
}

/// With TLS the library would take a connection that is refused for one that is still being made.
void Session::await_connection(Clock::time_point deadline) const {
    pollfd descriptor{.fd = socket(), .events = POLLOUT, .revents = 0};
    while (poll(&descriptor, 1, milliseconds_until(deadline)) <= 0 && Clock::now() < deadline) {
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0 || (descriptor.revents & POLLHUP) != 0) { // the library may have had the error
        fail(strerror(error != 0 ? error : ECONNREFUSED));
    }
}

/// Brokers without MQTT 5 refuse it, close the connection, or answer as MQTT 3.1.1 has it.
bool Session::is_other_protocol(int result) const {
    if (answer_.has_value()) {
        return *answer_ == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION;
    }
    return result == MOSQ_ERR_CONN_LOST || result == MOSQ_ERR_PROTOCOL ||
           result == MOSQ_ERR_MALFORMED_PACKET;
}

Session::~Session() {
    leave();
}

void Session::send(const std::string& macaddr, json_object* command, Delivery delivery) {
    if (!subscribed_) {
        return;
    }
    const std::string topic = COMMAND_TOPIC_START + macaddr;
    const char* const text = json_object_to_json_string_ext(command, JSON_C_TO_STRING_PLAIN);
    int message = 0;
    check(mosquitto_publish(client_.get(), &message, topic.c_str(), static_cast<int>(strlen(text)),
                            text, static_cast<int>(delivery), false));
    const auto deadline = after(timeout_);
    sending_ = true;
    while (delivered_ != message && subscribed_) {
        if (Clock::now() >= deadline) {
            fail("takes no messages");
        }
        work(deadline, {});
    }
    sending_ = false;
    if (delivered_ == message && delivery_ >= NOT_GRANTED) {
        fail("does not let commands be sent to " + macaddr + ": " +
             mosquitto_reason_string(delivery_));
    }
}

void Session::overhear(const std::string& macaddr) {
    overheard_ = COMMAND_TOPIC_START + macaddr;
    subscribe();
}

std::optional<Report> Session::next(Clock::time_point deadline, std::span<pollfd> others) {
    const auto is_readable = [](const pollfd& other) { return other.revents != 0; };
    const bool was_connected = connected();
    for (pollfd& other : others) {
        other.revents = 0;
    }
    while (reports_.empty() && std::ranges::none_of(others, is_readable) &&
           connected() == was_connected) {
        if (Clock::now() >= deadline) {
            return std::nullopt;
        }
        work(deadline, others);
    }
    if (reports_.empty() || std::ranges::any_of(others, is_readable)) {
        return std::nullopt;
    }
    Report report = std::move(reports_.front());
    reports_.pop_front();
    return report;
}

void Session::forget() {
    work(Clock::now(), {});
    reports_.clear();
}

std::string Session::doubt() const {
    return protocol_ == MQTT_PROTOCOL_V5 && !options_.names_controller()
               ? ""
               : "; the broker may also drop what one has no right to send or to read";
}

void Session::subscribe() {
    mosquitto_subscribe(client_.get(), nullptr, REPORT_TOPIC, 0);
    if (!overheard_.empty()) {
        mosquitto_subscribe(client_.get(), nullptr, overheard_.c_str(), 0);
    }
}

/// Waits once, until the deadline at most, and does what is due.
void Session::work(Clock::time_point deadline, std::span<pollfd> others) {
    if (socket() < 0) {
        deadline = std::min(deadline, next_attempt_);
    }
    std::vector<pollfd> descriptors(others.begin(), others.end());
    const short write_too = mosquitto_want_write(client_.get()) ? POLLOUT : short{0};
    descriptors.push_back(
        {.fd = socket(), .events = static_cast<short>(POLLIN | write_too), .revents = 0});
    if (poll(descriptors.data(), descriptors.size(), milliseconds_until(deadline)) < 0) {
        if (errno != EINTR) {
            fail(strerror(errno));
        }
        return;
    }
    for (size_t i = 0; i < others.size(); ++i) {
        others[i].revents = descriptors[i].revents;
    }
    if (socket() < 0) {
        connect_again();
        return;
    }
    const short events = descriptors.back().revents;
    if ((events & (POLLIN | POLLERR | POLLHUP)) != 0) {
        check(mosquitto_loop_read(client_.get(), 1));
    }
    if ((events & POLLOUT) != 0) {
        check(mosquitto_loop_write(client_.get(), 1));
    }
    check(mosquitto_loop_misc(client_.get()));
}

void Session::connect_again() {
    if (Clock::now() >= next_attempt_) {
        next_attempt_ = after(RECONNECT_PAUSE);
        mosquitto_reconnect_async(client_.get());
    }
}

/// Leaves with a DISCONNECT and reads until the broker has closed its end. A socket that is closed
/// with reports unread resets the connection, and brokers then drop what they have not read of it.
void Session::leave() {
    const ScopedFd kept(fcntl(socket(), F_DUPFD_CLOEXEC, 0)); // the library closes its own
    if (!kept.valid() || mosquitto_disconnect(client_.get()) != MOSQ_ERR_SUCCESS) {
        return;
    }
    const auto deadline = after(FAREWELL_TIMEOUT);
    bool written = false;
    while (!is_closed(kept.get()) && Clock::now() < deadline) {
        if (!written && socket() < 0) {
            written = true;
            shutdown(kept.get(), SHUT_WR);
        }
        const short write_too = written ? short{0} : POLLOUT;
        pollfd descriptor{
            .fd = kept.get(), .events = static_cast<short>(POLLIN | write_too), .revents = 0};
        poll(&descriptor, 1, milliseconds_until(deadline));
        if (!written && (descriptor.revents & POLLOUT) != 0) {
            mosquitto_loop_write(client_.get(), 1);
        }
    }
}

void Session::check(int result) {
    if (result == MOSQ_ERR_SUCCESS && refusal_.empty()) {
        return;
    }
    if (on_loss_ == OnLoss::reconnect && was_subscribed_) {
        subscribed_ = false;
        refusal_.clear();
        return;
    }
    if (!refusal_.empty()) {
        fail(refusal_);
    }
    if (!subscribed_ && !complaint_.empty()) {
        fail(complaint_);
    }
    const bool is_ended = result == MOSQ_ERR_CONN_LOST || errno == EPROTO;
    if (!subscribed_ && answer_ == 0 && is_ended) { // brokers that end the session in place of 0x80
        fail(std::string("ends the session, as when it does not let ") + REPORT_TOPIC + " be read");
    }
    if (!subscribed_ && !options_.cafile.empty() && is_ended) {
        fail("ends the session, as when it wants another certificate");
    }
    switch (result) {
    case MOSQ_ERR_ERRNO: fail(strerror(errno));
    case MOSQ_ERR_CONN_LOST:
        fail(!subscribed_ ? "connection refused"
             : sending_   ? "connection lost over a command, as when there is no right to send it"
                          : "connection lost");
    default: fail(mosquitto_strerror(result));
    }
}

void Session::fail(const std::string& reason) const {
    throw Failure(REFUSED, "broker " + broker_ + ": " + reason);
}

void Session::on_connect(mosquitto* /*client*/, void* session, int result) {
    auto* const self = static_cast<Session*>(session);
    self->answer_ = result;
    if (result != 0) {
        self->refusal_ = self->protocol_ == MQTT_PROTOCOL_V5 ? mosquitto_reason_string(result)
                                                             : mosquitto_connack_string(result);
        return;
    }
    self->subscribe();
}

void Session::on_subscribe(mosquitto* /*client*/, void* session, int /*message*/, int count,
                           const int* granted) {
    auto* const self = static_cast<Session*>(session);
    const bool is_granted = count > 0 && granted[0] < NOT_GRANTED;
    if (!is_granted && !self->subscribed_) { // the reports come first
        self->refusal_ = std::string("does not let ") + REPORT_TOPIC + " be read";
        return;
    }
    self->subscribed_ = true;
    self->was_subscribed_ = true;
}

void Session::on_publish(mosquitto* /*client*/, void* session, int message, int reason,
                         const mosquitto_property* /*properties*/) {
    auto* const self = static_cast<Session*>(session);
    self->delivered_ = message;
    self->delivery_ = reason;
}

/// Of the library's complaints about TLS the first says most.
void Session::on_log(mosquitto* /*client*/, void* session, int level, const char* text) {
    auto* const self = static_cast<Session*>(session);
    if (level == MOSQ_LOG_ERR && self->complaint_.empty()) {
        const std::string_view line = text;
        // As "Error: Unable to ..." or "OpenSSL Error[0]: error:0A000086:SSL routines::...".
        self->complaint_ =
            line.starts_with("Error: ") ? line.substr(7) : line.substr(line.rfind(':') + 1);
    }
}

void Session::on_message(mosquitto* /*client*/, void* session, const mosquitto_message* message) {
    Report report = read_report(std::string(static_cast<const char*>(message->payload),
                                            static_cast<size_t>(message->payloadlen)));
    const std::string_view topic = message->topic;
    if (topic != REPORT_TOPIC) {
        report.is_command = true;
        report.macaddr = topic.substr(std::min(topic.size(), strlen(COMMAND_TOPIC_START)));
    }
    static_cast<Session*>(session)->reports_.push_back(std::move(report));
}

} // namespace qvctl
