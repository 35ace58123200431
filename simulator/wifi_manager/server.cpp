// One thread serves all connections; a request that is left unanswered holds up nobody else.
#include "server.h"

#include "json/text.h"
#include "messages.h"
#include "platform/scoped_fd.h"
#include "state_json.h"
#include "statistics.h"
#include "stored_notes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t MAX_PACKET = 65536; // above every request
constexpr uint8_t REFUSED = 0;       // identifier of the reply to a refused request

using Clock = std::chrono::steady_clock;

/// Made again only when time has passed or something has changed: it is larger than any reply.
const AccessPoint& now_of(Simulation& simulation) {
    using std::chrono::milliseconds;
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - simulation.since);
    const milliseconds time = simulation.still ? milliseconds(0) : passed;
    if (simulation.system_package.has_changed()) {
        simulation.notes = qv_read_stored_notes(simulation.system_package.path());
        simulation.shown_at.reset();
    }
    if (simulation.shown_at != time) {
        simulation.shown = qv_access_point_at(simulation.ap, time);
        simulation.shown_at = time;
        if (!simulation.notes.empty()) {
            qv_set_field_text(simulation.shown.system.equipment_notes, simulation.notes);
        }
    }
    return simulation.shown;
}

/// Appends the reply's record or changes the state. Returns why the request is refused, or none.
const char* handle(Simulation& simulation, uint8_t id, Bytes payload, Reply& reply) {
    if (qv_is_reading(id)) {
        return qv_read(now_of(simulation), id, payload, reply);
    }
    const char* const refusal = qv_apply(simulation.ap, id, payload);
    simulation.shown_at.reset();
    if (refusal == nullptr) {
        qv_save_simulation(simulation);
        qv_follow_settings(simulation.uplink, simulation.ap, simulation.faults.file.path());
    }
    return refusal;
}

/// Returns the reply to a request, or none when the connection is to be closed instead.
std::optional<Reply> answer(Simulation& simulation, Bytes request, Fault fault) {
    WifiMgrMsg header;
    if (request.size() < sizeof header) {
        std::printf("request of %zu bytes has no header\n", request.size());
        return std::nullopt;
    }
    std::memcpy(&header, request.data(), sizeof header);
    const Bytes payload = request.subspan(sizeof header);
    std::printf("request module=%u id=%u length=%u\n", header.module, header.msg_id, header.length);
    if (header.length != payload.size()) {
        std::printf("request carries %zu payload bytes\n", payload.size());
        return std::nullopt;
    }
    Reply reply(sizeof header);
    const char* const refusal =
        qv_ignores_request(fault) ? "told to" : handle(simulation, header.msg_id, payload, reply);
    if (refusal != nullptr) {
        std::printf("refused id=%u: %s\n", header.msg_id, refusal);
        header.msg_id = REFUSED;
    }
    header.length = static_cast<uint32_t>(reply.size() - sizeof header);
    std::memcpy(reply.data(), &header, sizeof header);
    qv_spoil_reply(reply, fault);
    return reply;
}

/// Serves what is readable on a connection. Returns false when it is to be closed.
bool serve(const ScopedFd& connection, Simulation& simulation) {
    static std::array<std::byte, MAX_PACKET> packet;
    const ssize_t size = recv(connection.get(), packet.data(), packet.size(), 0);
    if (size <= 0) {
        return false;
    }
    const Bytes request = std::span(packet).first(static_cast<size_t>(size));
    const uint8_t id = request.size() > 1 ? std::to_integer<uint8_t>(request[1]) : uint8_t{0};
    const Fault fault = qv_find_fault(simulation.faults, id);
    const std::optional<Reply> reply = answer(simulation, request, fault);
    if (!reply || fault == Fault::closes) {
        return false;
    }
    return fault == Fault::silent ||
           send(connection.get(), reply->data(), reply->size(), MSG_NOSIGNAL) >= 0;
}

ScopedFd listen_at(const std::string& path) {
    ScopedFd listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return {};
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    unlink(path.c_str());
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    if (bind(listener.get(), generic, sizeof address) != 0 || listen(listener.get(), 64) != 0) {
        return {};
    }
    return listener;
}

/// A descriptor that becomes readable on SIGTERM and SIGINT.
ScopedFd watch_for_stop() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ScopedFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

void run(const ScopedFd& listener, const ScopedFd& stop, Simulation& simulation) {
    std::vector<ScopedFd> connections;
    for (;;) {
        std::vector<pollfd> watched = {{stop.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
        for (const ScopedFd& connection : connections) {
            watched.push_back({connection.get(), POLLIN, 0});
        }
        if (poll(watched.data(), watched.size(), -1) < 0 || watched[0].revents != 0) {
            return;
        }
        for (size_t i = connections.size(); i-- > 0;) {
            if (watched[i + 2].revents != 0 && !serve(connections[i], simulation)) {
                connections.erase(connections.begin() + static_cast<ptrdiff_t>(i));
            }
        }
        if (watched[1].revents != 0) {
            connections.emplace_back(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        }
    }
}

} // namespace

void qv_save_simulation(Simulation& simulation) {
    if (!qv_save_state(now_of(simulation), simulation.state_file)) {
        std::printf("state not written to %s\n", simulation.state_file.c_str());
    }
}

bool qv_serve(Simulation& simulation, const std::string& socket_path) {
    const ScopedFd stop = watch_for_stop();
    const ScopedFd listener = listen_at(socket_path);
    if (!stop.valid() || !listener.valid()) {
        return false;
    }
    run(listener, stop, simulation);
    unlink(socket_path.c_str());
    return true;
}
