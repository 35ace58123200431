/*
 * The wifi-manager channel: one SOCK_SEQPACKET connection per exchange, one packet each way.
 * Packets keep their bounds, so neither side needs a length of its own to find them.
 */
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "platform/zendry_common/paths.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

namespace {

using Clock = std::chrono::steady_clock; // CLOCK_MONOTONIC: a set clock changes no time limit

// For connect, send and receive together.
constexpr std::chrono::seconds exchange_limit{5};

/* Bounds the socket's next blocking call by the deadline. False when it has passed. */
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

/*
 * Makes a blocking call, again after signals, until the deadline. SO_SNDTIMEO bounds connect on
 * a UNIX-domain socket too, where it waits for room in the listener's backlog.
 */
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
        printf("QV_ERR: socket path too long: %s\n", path.c_str());
        return false;
    }
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

/* The reply goes into the caller's buffer only once its length is known to fit. */
bool receive_reply(int fd, Clock::time_point deadline, void* buffer, uint32_t capacity) {
    const ssize_t length = call_until(fd, SO_RCVTIMEO, deadline, [&] {
        return recv(fd, nullptr, 0, MSG_PEEK | MSG_TRUNC); // length of the whole packet
    });
    if (length <= 0 || static_cast<size_t>(length) > capacity) {
        return false;
    }
    return recv(fd, buffer, capacity, MSG_DONTWAIT) == length;
}

} // namespace

int32_t qv_ctrl_send_wifi_mgr_msg(const void* request, uint32_t request_length, void* reply_buffer,
                                  uint32_t reply_capacity) {
    const Clock::time_point deadline = Clock::now() + exchange_limit;
    sockaddr_un address{};
    // An empty packet would read as the end of the connection.
    if (request == nullptr || request_length == 0 || reply_buffer == nullptr ||
        !manager_address(address)) {
        return -1;
    }
    const ScopedFd channel(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!channel.valid()) {
        return -1;
    }
    const int fd = channel.get();
    const ssize_t connected = call_until(fd, SO_SNDTIMEO, deadline, [&] {
        return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    });
    if (connected != 0) {
        return -1;
    }
    const ssize_t sent = call_until(
        fd, SO_SNDTIMEO, deadline, [&] { return send(fd, request, request_length, MSG_NOSIGNAL); });
    if (sent != static_cast<ssize_t>(request_length)) {
        return -1;
    }
    return receive_reply(fd, deadline, reply_buffer, reply_capacity) ? 0 : -1;
}
