#include "session.h"

#include "failure.h"
#include "protocol/topics.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

namespace qvctl {

namespace {

constexpr int KEEP_ALIVE = 15; // seconds
constexpr double BROKER_TIMEOUT = 10;
/// The library wants its housekeeping done about once a second.
constexpr std::chrono::milliseconds HOUSEKEEPING{1000};

Report read_report(std::string text) {
    Report report{.text = std::move(text)};
    report.root.reset(json_tokener_parse(report.text.c_str()));
    if (json_object_is_type(report.root.get(), json_type_object) == 0) {
        report.root.reset();
        return report;
    }
    report.type = json_object_get_int(qv_json_member(report.root.get(), "type"));
    report.macaddr = report.member("macaddr");
    std::ranges::transform(report.macaddr, report.macaddr.begin(), [](char character) {
        return character >= 'A' && character <= 'F' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return report;
}

json_object_iterator first_of_data(const Report& report, json_object*& data) {
    data = qv_json_member(report.root.get(), "data");
    if (json_object_is_type(data, json_type_object) == 0 || json_object_object_length(data) == 0) {
        data = nullptr;
        return json_object_iter_init_default();
    }
    return json_object_iter_begin(data);
}

int milliseconds_until(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), HOUSEKEEPING).count());
}

} // namespace

std::string Report::member(const char* key) const {
    json_object* const value = qv_json_member(root.get(), key);
    return value == nullptr ? "" : json_object_get_string(value);
}

json_object* Report::body() const {
    json_object* data = nullptr;
    const json_object_iterator first = first_of_data(*this, data);
    return data == nullptr ? nullptr : json_object_iter_peek_value(&first);
}

std::string Report::data_key() const {
    json_object* data = nullptr;
    const json_object_iterator first = first_of_data(*this, data);
    return data == nullptr ? "" : json_object_iter_peek_name(&first);
}

Session::Session(const Options& options)
    : broker_(options.host + ":" + std::to_string(options.port)),
      client_(mosquitto_new(nullptr, true, this)) {
    if (client_ == nullptr) {
        fail(strerror(errno));
    }
    mosquitto_connect_callback_set(client_.get(), on_connect);
    mosquitto_subscribe_callback_set(client_.get(), on_subscribe);
    mosquitto_publish_callback_set(client_.get(), on_publish);
    mosquitto_message_callback_set(client_.get(), on_message);
    check(mosquitto_connect_async(client_.get(), options.host.c_str(), options.port, KEEP_ALIVE));
    const auto deadline = after(BROKER_TIMEOUT);
    while (!subscribed_) {
        // The library knows best how to wait for a connection that is still being made.
        check(mosquitto_loop(client_.get(), milliseconds_until(deadline), 1));
        if (!subscribed_ && Clock::now() >= deadline) {
            fail("no answer");
        }
    }
}

void Session::send(const std::string& macaddr, json_object* command) {
    const std::string topic = COMMAND_TOPIC_START + macaddr;
    const char* const text = json_object_to_json_string_ext(command, JSON_C_TO_STRING_PLAIN);
    int message = 0;
    check(mosquitto_publish(client_.get(), &message, topic.c_str(), static_cast<int>(strlen(text)),
                            text, 0, false));
    const auto deadline = after(BROKER_TIMEOUT);
    while (written_ != message) {
        if (Clock::now() >= deadline) {
            fail("takes no messages");
        }
        work(deadline, {});
    }
}

std::optional<Report> Session::next(Clock::time_point deadline, std::span<pollfd> others) {
    const auto is_readable = [](const pollfd& other) { return other.revents != 0; };
    for (pollfd& other : others) {
        other.revents = 0;
    }
    while (reports_.empty() && std::ranges::none_of(others, is_readable)) {
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

/// Waits once, until the deadline at most, and does what is due.
void Session::work(Clock::time_point deadline, std::span<pollfd> others) {
    std::vector<pollfd> descriptors(others.begin(), others.end());
    const short write_too = mosquitto_want_write(client_.get()) ? POLLOUT : short{0};
    descriptors.push_back({.fd = mosquitto_socket(client_.get()),
                           .events = static_cast<short>(POLLIN | write_too),
                           .revents = 0});
    if (poll(descriptors.data(), descriptors.size(), milliseconds_until(deadline)) < 0) {
        if (errno != EINTR) {
            fail(strerror(errno));
        }
        return;
    }
    for (size_t i = 0; i < others.size(); ++i) {
        others[i].revents = descriptors[i].revents;
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

void Session::check(int result) const {
    if (!refusal_.empty()) {
        fail(refusal_);
    }
    switch (result) {
    case MOSQ_ERR_SUCCESS: return;
    case MOSQ_ERR_ERRNO: fail(strerror(errno));
    case MOSQ_ERR_CONN_LOST: fail(subscribed_ ? "connection lost" : "connection refused");
    default: fail(mosquitto_strerror(result));
    }
}

void Session::fail(const std::string& reason) const {
    throw Failure(REFUSED, "broker " + broker_ + ": " + reason);
}

void Session::on_connect(mosquitto* client, void* session, int result) {
    if (result != 0) {
        static_cast<Session*>(session)->refusal_ = mosquitto_connack_string(result);
        return;
    }
    mosquitto_subscribe(client, nullptr, REPORT_TOPIC, 0);
}

void Session::on_subscribe(mosquitto* /*client*/, void* session, int /*message*/, int /*count*/,
                           const int* /*granted*/) {
    static_cast<Session*>(session)->subscribed_ = true;
}

void Session::on_publish(mosquitto* /*client*/, void* session, int message) {
    static_cast<Session*>(session)->written_ = message;
}

void Session::on_message(mosquitto* /*client*/, void* session, const mosquitto_message* message) {
    static_cast<Session*>(session)->reports_.push_back(read_report(std::string(
        static_cast<const char*>(message->payload), static_cast<size_t>(message->payloadlen))));
}

} // namespace qvctl
