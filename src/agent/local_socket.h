// The local event socket: short datagrams from other programs on the access point, logged only.
#ifndef QV_AGENT_LOCAL_SOCKET_H
#define QV_AGENT_LOCAL_SOCKET_H

#include "platform/scoped_fd.h"

#include <cstdint>
#include <sys/socket.h>
#include <sys/un.h>

inline constexpr const char* LOCAL_SOCKET_PATH = "/tmp/qvagent";

struct LocalSocketConfig {
    const char* path = LOCAL_SOCKET_PATH;
    sockaddr_un address{}; ///< built from the path when the socket is opened
};

struct LocalSocket {
    ScopedFd descriptor; ///< the datagram socket; negative when it could not be opened
    sockaddr_un sender{};
    sockaddr_un local{};
    socklen_t local_length = 0; ///< always the full size of the address structure
};

/// Longest datagram taken; the socket cuts longer ones.
inline constexpr uint32_t PASSIVE_MSG_MAX = 4096;

/// Opens and binds the datagram socket, removing what an earlier run left at its path. Returns 0,
/// or -1 after printing the system's error.
int32_t qv_local_socket_open(LocalSocketConfig& config, LocalSocket& socket);

/// Thread entry (argument: the agent context): logs datagrams until the agent stops. Ends at
/// once when the socket is not open.
void* qv_local_recv_thread(void* agent_context);

#endif
