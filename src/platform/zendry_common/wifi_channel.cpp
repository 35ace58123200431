// The wifi-manager channel: one packet each way, over a SOCK_SEQPACKET connection that every asking
// thread keeps from one exchange to the next. Packets keep their bounds, so neither side needs a
// length of its own to find them.
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "platform/zendry_common/paths.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock; // CLOCK_MONOTONIC: a set clock changes no time limit

// For connect and receive together.
constexpr std::chrono::seconds EXCHANGE_LIMIT{5};

// Bounds the socket's next blocking call by the deadline. False when it has passed.
bool limit_by(int fd, int direction, Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
        return false; // and a zero time limit would mean none at all
    }
    timeval limit{};
    limit.tv_sec = static_cast<decltype(limit.tv_sec)>(left / 1000000);
    limit.tv_usec = static_cast<decltype(limit.tv_usec)>(left % 1000000);
    return setsockopt(fd, SOL_SOCKET, direction, &limit, sizeof limit) == 0;
}

// Makes a blocking call, again after signals, until the deadline. SO_SNDTIMEO bounds connect on
// a UNIX-domain socket too, where it waits for room in the listener's backlog.
template <typename Call>
ssize_t call_until(int fd, int direction, Clock::time_point deadline, Call call) {
    ssize_t result = -1;
    do {
        if (!limit_by(fd, direction, deadline)) {
            return -1;
        }
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

bool manager_address(sockaddr_un& address) {
    const std::string path = zendry::rooted("/var/run/wifi_manager.sock");
    if (path.size() >= sizeof address.sun_path) {
        qv_log("QV_ERR: socket path too long: %s\n", path.c_str());
        return false;
    }
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

// A connection without anything to read. An end, or a packet that nobody asked for, makes it
// useless.
bool is_quiet(const ScopedFd& connection) {
    char byte;
    return recv(connection.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
}

/// There is room for it: nothing is sent before the last request was answered.
bool send_request(const ScopedFd& connection, std::string_view request) {
    return send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(request.size());
}

// Empty when the manager does not take the connection in time.
ScopedFd connect_to_manager(Clock::time_point deadline) {
    sockaddr_un address{};
    if (!manager_address(address)) {
        return {};
    }
    ScopedFd connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const ssize_t connected = call_until(connection.get(), SO_SNDTIMEO, deadline, [&] {
        return connect(connection.get(), reinterpret_cast<const sockaddr*>(&address),
                       sizeof address);
    });
    return connected == 0 ? std::move(connection) : ScopedFd();
}

// Over the connection of the last exchange, or a new one where that has ended: a manager that was
// started anew since then is asked like any other.
bool ask(ScopedFd& connection, Clock::time_point deadline, std::string_view request) {
    if (is_quiet(connection) && send_request(connection, request)) {
        return true;
    }
    connection = connect_to_manager(deadline);
    return connection.valid() && send_request(connection, request);
}

// The reply goes into the caller's buffer only once its length is known to fit.
bool receive_reply(const ScopedFd& connection, Clock::time_point deadline, void* buffer,
                   uint32_t capacity) {
    const ssize_t length = call_until(connection.get(), SO_RCVTIMEO, deadline, [&] {
        return recv(connection.get(), nullptr, 0, MSG_PEEK | MSG_TRUNC); // the whole packet's
    });
    if (length <= 0 || static_cast<size_t>(length) > capacity) {
        return false;
    }
    return recv(connection.get(), buffer, capacity, MSG_DONTWAIT) == length;
}

} // namespace

int32_t qv_ctrl_send_wifi_mgr_msg(const void* request, uint32_t request_length, void* reply_buffer,
                                  uint32_t reply_capacity) {
    static thread_local ScopedFd connection;
    const Clock::time_point deadline = Clock::now() + EXCHANGE_LIMIT;
    // An empty packet would read as the end of the connection.
    if (request == nullptr || request_length == 0 || reply_buffer == nullptr) {
        return -1;
    }
    if (ask(connection, deadline, {static_cast<const char*>(request), request_length}) &&
        receive_reply(connection, deadline, reply_buffer, reply_capacity)) {
        return 0;
    }
    connection.reset(); // a reply that comes late must not stand for the next one
    return -1;
}
