// Plays the wifi manager of a simulated access point: keeps the state of an access point in
// memory, answers read messages from it and changes it on apply messages.
//
// One thread serves all connections; a request that is left unanswered holds up nobody else.

#include "reports/statistics_records.h"
#include "wifimgr/messages.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t MAX_PACKET = 64 * 1024; // above every request and reply capacity in use

/// The access point as its wifi manager knows it.
struct AccessPoint {
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    int32_t wifi_stats = 0; ///< the word that message 1 reports
    SystemStats system{};
};

template <size_t N>
void set_text(char (&field)[N], std::string_view text) {
    const size_t length = std::min(text.size(), N);
    std::fill(std::copy_n(text.data(), length, field), std::end(field), '\0');
}

AccessPoint make_access_point() {
    AccessPoint ap;
    set_text(ap.system.hw_name, "KX7310");
    set_text(ap.system.fwinfo, "QV_VER_1_0_1");
    set_text(ap.system.hostname, "OpenWrt");
    set_text(ap.system.model, "Simulated AP, IPQ4019");
    set_text(ap.system.kernel_version, "5.4.164");
    ap.system.max_memory = 249856; // KiB
    ap.system.max_disk_space = 102400;
    ap.system.max_disk_space_used = 31744;
    return ap;
}

using Bytes = std::span<const std::byte>;
using Reply = std::vector<std::byte>;

template <typename Record>
void append(Reply& reply, const Record& record) {
    const Bytes bytes = std::as_bytes(std::span(&record, 1));
    reply.insert(reply.end(), bytes.begin(), bytes.end());
}

void read_wifi_stats(AccessPoint& ap, Bytes, Reply& reply) {
    append(reply, ap.wifi_stats);
}

// Load and memory in use follow the uptime, so that a viewer sees values that move.
void read_system_stats(AccessPoint& ap, Bytes, Reply& reply) {
    const auto up = std::chrono::steady_clock::now() - ap.started;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(up).count();
    const auto uptime = static_cast<int32_t>(seconds) + 1;
    ap.system.uptime = uptime;
    ap.system.cpu_usage = 5 + uptime * 7 % 23; // percent
    ap.system.max_memory_used = 98304 + uptime * 131 % 8192;
    char load[sizeof ap.system.loadavg];
    std::snprintf(load, sizeof load, "0.%02d 0.08 0.02", ap.system.cpu_usage);
    set_text(ap.system.loadavg, load);
    append(reply, ap.system);
}

/// What the wifi manager does with one message: appends the reply's record, changes its state.
struct Message {
    WifiMgrMsgId id;
    void (*handle)(AccessPoint& ap, Bytes payload, Reply& reply);
};

constexpr std::array MESSAGES = {
    Message{WIFI_MGR_GET_WIFI_STATS, read_wifi_stats},
    Message{WIFI_MGR_GET_SYSTEM_STATS, read_system_stats},
};

/// The replies of a wifi manager that is out of order.
enum class Fault { none, silent, wrong_id, short_reply, long_reply, closes };

constexpr std::array<std::pair<std::string_view, Fault>, 5> FAULTS = {{
    {"silent", Fault::silent},     // accepts the request, never answers
    {"wrong-id", Fault::wrong_id}, // answers with another identifier
    {"short", Fault::short_reply}, // answers the header and 16 bytes of the record
    {"long", Fault::long_reply},   // answers more than any capacity offered
    {"close", Fault::closes},      // closes the connection without an answer
}};

// The control file holds lines "<identifier or all> <fault>"; the first that fits counts. It is
// read for every request, so that a test switches faults while the program runs.
Fault find_fault(const std::string& control_file, uint8_t id) {
    std::ifstream lines(control_file);
    std::string which, word;
    while (lines >> which >> word) {
        if (which != "all" && which != std::to_string(id)) {
            continue;
        }
        for (const auto& [name, fault] : FAULTS) {
            if (name == word) {
                return fault;
            }
        }
        std::printf("unknown fault %s\n", word.c_str());
    }
    return Fault::none;
}

Reply spoil(Reply reply, Fault fault) {
    switch (fault) {
    case Fault::wrong_id: reply[offsetof(WifiMgrMsg, msg_id)] ^= std::byte{0x80}; break;
    case Fault::short_reply: reply.resize(std::min(reply.size(), sizeof(WifiMgrMsg) + 16)); break;
    case Fault::long_reply: reply.resize(MAX_PACKET, std::byte{0x41}); break;
    case Fault::none:
    case Fault::silent:
    case Fault::closes: break;
    }
    return reply;
}

/// Returns the reply to a request, or none when the connection is to be closed instead.
std::optional<Reply> answer(AccessPoint& ap, Bytes request) {
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
    const auto* const row =
        std::ranges::find_if(MESSAGES, [&](const Message& m) { return m.id == header.msg_id; });
    if (row == MESSAGES.end()) {
        std::printf("unknown message %u\n", header.msg_id);
        return std::nullopt;
    }
    Reply reply(sizeof header);
    row->handle(ap, payload, reply);
    header.length = static_cast<uint32_t>(reply.size() - sizeof header);
    std::memcpy(reply.data(), &header, sizeof header);
    return reply;
}

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    int get() const {
        return fd_;
    }

private:
    int fd_;
};

/// Serves what is readable on a connection. Returns false when it is to be closed.
bool serve(const Descriptor& connection, AccessPoint& ap, const std::string& control_file) {
    static std::array<std::byte, MAX_PACKET> packet;
    const ssize_t size = recv(connection.get(), packet.data(), packet.size(), 0);
    if (size <= 0) {
        return false;
    }
    const Bytes request(packet.data(), static_cast<size_t>(size));
    const uint8_t id = request.size() > 1 ? std::to_integer<uint8_t>(request[1]) : uint8_t{0};
    const Fault fault = find_fault(control_file, id);
    const std::optional<Reply> reply = answer(ap, request);
    if (!reply || fault == Fault::closes) {
        return false;
    }
    if (fault == Fault::silent) {
        return true;
    }
    const Reply sent = spoil(*reply, fault);
    return send(connection.get(), sent.data(), sent.size(), MSG_NOSIGNAL) >= 0;
}

Descriptor listen_at(const std::string& path) {
    Descriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return Descriptor(-1);
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    unlink(path.c_str());
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    if (bind(listener.get(), generic, sizeof address) != 0 || listen(listener.get(), 64) != 0) {
        return Descriptor(-1);
    }
    return listener;
}

/// A descriptor that becomes readable on SIGTERM and SIGINT.
Descriptor watch_for_stop() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return Descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

void run(const Descriptor& listener, const Descriptor& stop, const std::string& control_file) {
    AccessPoint ap = make_access_point();
    std::vector<Descriptor> connections;
    for (;;) {
        std::vector<pollfd> watched = {{stop.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
        for (const Descriptor& connection : connections) {
            watched.push_back({connection.get(), POLLIN, 0});
        }
        if (poll(watched.data(), watched.size(), -1) < 0 || watched[0].revents != 0) {
            return;
        }
        for (size_t i = connections.size(); i-- > 0;) {
            if (watched[i + 2].revents != 0 && !serve(connections[i], ap, control_file)) {
                connections.erase(connections.begin() + static_cast<ptrdiff_t>(i));
            }
        }
        if (watched[1].revents != 0) {
            connections.emplace_back(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        }
    }
}

std::string from_environment(const char* name, const char* fallback) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : fallback;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::string path = from_environment("ZENDRY_ROOT", "") + "/var/run/wifi_manager.sock";
    std::string control_file = from_environment("AP_DIR", "/run/ap") + "/wifi_manager.behave";
    CLI::App app("Plays the wifi manager of a simulated access point");
    app.add_option("--socket", path, "path of the listening socket")->capture_default_str();
    app.add_option("--behave", control_file, "file of faults to show, read for every request")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    const Descriptor stop = watch_for_stop();
    const Descriptor listener = listen_at(path);
    if (stop.get() < 0 || listener.get() < 0) {
        std::perror(path.c_str());
        return EXIT_FAILURE;
    }
    run(listener, stop, control_file);
    unlink(path.c_str());
    return EXIT_SUCCESS;
}
