// Plays the wifi manager of a simulated access point: keeps the state of an access point in
// memory, answers read messages from it and changes it on apply messages.
//
// One thread serves all connections; a request that is left unanswered holds up nobody else.

#include "access_point.h"
#include "faults.h"
#include "messages.h"
#include "state_json.h"
#include "statistics.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <utility>
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

/// The access point as it stood at some time, and how it is shown to others.
struct Simulation {
    AccessPoint ap;
    Clock::time_point since = Clock::now();
    bool still = false; ///< no time passes
    std::string control_file;
    std::string state_file; ///< written after every change
};

AccessPoint now_of(const Simulation& simulation) {
    using std::chrono::milliseconds;
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - simulation.since);
    return qv_access_point_at(simulation.ap, simulation.still ? milliseconds(0) : passed);
}

void save(const Simulation& simulation) {
    if (!qv_save_state(now_of(simulation), simulation.state_file)) {
        std::printf("state not written to %s\n", simulation.state_file.c_str());
    }
}

/// Appends the reply's record or changes the state. Returns why the request is refused, or none.
const char* handle(Simulation& simulation, uint8_t id, Bytes payload, Reply& reply) {
    const Message* const message = qv_find_message(id);
    if (message == nullptr) {
        return "unknown message";
    }
    if (message->request_size != ANY_SIZE && message->request_size != payload.size()) {
        return "payload of another size";
    }
    if (message->read != nullptr) {
        message->read(now_of(simulation), payload, reply);
        return nullptr;
    }
    const char* const refusal = message->apply(simulation.ap, payload);
    if (refusal == nullptr) {
        save(simulation);
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
bool serve(const Descriptor& connection, Simulation& simulation) {
    static std::array<std::byte, MAX_PACKET> packet;
    const ssize_t size = recv(connection.get(), packet.data(), packet.size(), 0);
    if (size <= 0) {
        return false;
    }
    const Bytes request = std::span(packet).first(static_cast<size_t>(size));
    const uint8_t id = request.size() > 1 ? std::to_integer<uint8_t>(request[1]) : uint8_t{0};
    const Fault fault = qv_find_fault(simulation.control_file, id);
    const std::optional<Reply> reply = answer(simulation, request, fault);
    if (!reply || fault == Fault::closes) {
        return false;
    }
    return fault == Fault::silent ||
           send(connection.get(), reply->data(), reply->size(), MSG_NOSIGNAL) >= 0;
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

void run(const Descriptor& listener, const Descriptor& stop, Simulation& simulation) {
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
            if (watched[i + 2].revents != 0 && !serve(connections[i], simulation)) {
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

struct Options {
    std::string socket = from_environment("ZENDRY_ROOT", "") + "/var/run/wifi_manager.sock";
    std::string folder = from_environment("AP_DIR", "/run/ap");
    std::string control_file = folder + "/wifi_manager.behave";
    std::string state_file = folder + "/wifi_manager.state.json";
    std::string initial_state;
    std::string mac = from_environment("AP_MAC", "02:11:22:33:44:55");
    std::string ip = from_environment("AP_IP", "192.168.1.1");
    size_t stations = AccessPointChoice{}.stations;
    size_t vaps = AccessPointChoice{}.vaps;
    size_t freqs = 0;
    bool still = false;
};

void describe(CLI::App& app, Options& options) {
    app.add_option("--socket", options.socket, "path of the listening socket");
    app.add_option("--behave", options.control_file, "file of faults, read for every request");
    app.add_option("--stations", options.stations, "associated stations")
        ->check(CLI::Range(size_t{0}, STATION_LIMIT));
    app.add_option("--vaps", options.vaps, "VAPs")->check(CLI::Range(size_t{0}, VAP_ROOM));
    app.add_option("--freqs", options.freqs, "frequencies per VAP, 0: as many as its band has")
        ->check(CLI::Range(size_t{0}, FREQ_ROOM));
    app.add_flag("--still", options.still, "no time passes: statistics stay as they are");
    app.add_option("--state", options.initial_state, "JSON file of what is to be otherwise");
    app.add_option("--dump", options.state_file, "file that always holds the state as JSON");
    for (CLI::Option* const option : app.get_options()) {
        option->capture_default_str();
    }
}

/// False, with a line that says why, when the state file cannot be used.
bool set_up(Simulation& simulation, const Options& options) {
    simulation.ap = qv_make_access_point({.mac = options.mac,
                                          .ip = options.ip,
                                          .stations = options.stations,
                                          .vaps = options.vaps,
                                          .freqs = options.freqs});
    simulation.still = options.still;
    simulation.control_file = options.control_file;
    simulation.state_file = options.state_file;
    if (!options.initial_state.empty()) {
        const std::string error = qv_load_state(simulation.ap, options.initial_state);
        if (!error.empty()) {
            std::fprintf(stderr, "%s: %s\n", options.initial_state.c_str(), error.c_str());
            return false;
        }
    }
    save(simulation);
    return true;
}

int serve_until_stopped(int argc, char** argv) {
    Options options;
    CLI::App app("Plays the wifi manager of a simulated access point");
    describe(app, options);
    CLI11_PARSE(app, argc, argv);

    Simulation simulation;
    if (!set_up(simulation, options)) {
        return EXIT_FAILURE;
    }
    const Descriptor stop = watch_for_stop();
    const Descriptor listener = listen_at(options.socket);
    if (stop.get() < 0 || listener.get() < 0) {
        std::perror(options.socket.c_str());
        return EXIT_FAILURE;
    }
    run(listener, stop, simulation);
    unlink(options.socket.c_str());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        return serve_until_stopped(argc, argv);
    } catch (const std::exception& failure) { // of the libraries: out of memory at worst
        std::fprintf(stderr, "%s\n", failure.what());
        return EXIT_FAILURE;
    }
}
