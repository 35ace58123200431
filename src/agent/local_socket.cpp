#include "agent/local_socket.h"

#include "agent/context.h"
#include "platform/log.h"

#include <array>
#include <cstring>
#include <sys/select.h>
#include <unistd.h>

int32_t qv_local_socket_open(LocalSocketConfig& config, LocalSocket& socket) {
    socket.descriptor = ScopedFd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.descriptor.valid()) {
        perror("socket");
        return -1;
    }
    config.address = {};
    config.address.sun_family = AF_UNIX;
    strncpy(config.address.sun_path, config.path, sizeof config.address.sun_path - 1);
    unlink(config.path);
    if (bind(socket.descriptor.get(), reinterpret_cast<const sockaddr*>(&config.address),
             sizeof config.address) != 0) {
        perror("bind");
        socket.descriptor.reset();
        return -1;
    }
    socket.local = config.address;
    socket.local_length = sizeof socket.local;
    return 0;
}

namespace {

/// Waits half a second at most, so that the stop flag is seen in time.
bool readable(int descriptor) {
    fd_set descriptors;
    FD_ZERO(&descriptors);
    FD_SET(descriptor, &descriptors);
    timeval timeout{.tv_sec = 0, .tv_usec = 500000};
    return select(descriptor + 1, &descriptors, nullptr, nullptr, &timeout) > 0 &&
           FD_ISSET(descriptor, &descriptors);
}

void log_passive_msg(LocalSocket& socket) {
    std::array<unsigned char, PASSIVE_MSG_MAX> buffer{};
    socklen_t sender_length = sizeof socket.sender;
    const ssize_t bytes = recvfrom(socket.descriptor.get(), buffer.data(), buffer.size(), 0,
                                   reinterpret_cast<sockaddr*>(&socket.sender), &sender_length);
    if (bytes > 0) {
        qv_log("Recv Passive Msg: bytes = %d component_type = %d, type = %d\n",
               static_cast<int>(bytes), buffer[0], buffer[1]);
    }
}

} // namespace

void* qv_local_recv_thread(void* agent_context) {
    auto& context = *static_cast<AgentContext*>(agent_context);
    LocalSocket& socket = context.event_socket;
    while (socket.descriptor.valid() && !qv_agent_stopping(context)) {
        if (readable(socket.descriptor.get())) {
            log_passive_msg(socket);
        }
    }
    return nullptr;
}
