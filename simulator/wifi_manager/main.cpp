// Plays the wifi manager of a simulated access point: keeps the state of an access point in
// memory, answers read messages from it and changes it on apply messages.

#include "access_point.h"
#include "server.h"
#include "state_json.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

std::string from_environment(const char* name, const char* fallback) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : fallback;
}

struct Options {
    std::string socket = from_environment("ZENDRY_ROOT", "") + "/var/run/wifi_manager.sock";
    std::string system_package = from_environment("ZENDRY_ROOT", "") + "/etc/config/system";
    std::string folder = from_environment("AP_DIR", "/run/ap");
    std::string control_file = folder + "/wifi_manager.behave";
    std::string state_file = folder + "/wifi_manager.state.json";
    std::string initial_state;
    std::string uplink = from_environment("AP_UPLINK", "lo");
    std::string mac = from_environment("AP_MAC", "02:11:22:33:44:55");
    std::string ip = from_environment("AP_IP", "192.168.1.1");
    size_t stations = AccessPointChoice{}.stations;
    size_t vaps = AccessPointChoice{}.vaps;
    size_t freqs = 0;
    bool still = false;
};

void describe(CLI::App& app, Options& options) {
    app.add_option("--socket", options.socket, "path of the listening socket");
    app.add_option("--behave", options.control_file,
                   "file of faults and of settings that cut off, read for every request");
    app.add_option("--stations", options.stations, "associated stations")
        ->check(CLI::Range(size_t{0}, STATION_LIMIT));
    app.add_option("--vaps", options.vaps, "VAPs")->check(CLI::Range(size_t{0}, VAP_ROOM));
    app.add_option("--freqs", options.freqs, "frequencies per VAP, 0: as many as its band has")
        ->check(CLI::Range(size_t{0}, FREQ_ROOM));
    app.add_flag("--still", options.still, "no time passes: statistics stay as they are");
    app.add_option("--state", options.initial_state, "JSON file of what is to be otherwise");
    app.add_option("--dump", options.state_file, "file that always holds the state as JSON");
    app.add_option("--uplink", options.uplink, "interface that settings may cut off");
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
    simulation.faults.file = WatchedFile(options.control_file);
    simulation.system_package = WatchedFile(options.system_package);
    simulation.state_file = options.state_file;
    simulation.uplink.interface = options.uplink;
    if (!options.initial_state.empty()) {
        const std::string error = qv_load_state(simulation.ap, options.initial_state);
        if (!error.empty()) {
            std::fprintf(stderr, "%s: %s\n", options.initial_state.c_str(), error.c_str());
            return false;
        }
    }
    qv_save_simulation(simulation);
    qv_follow_settings(simulation.uplink, simulation.ap, simulation.faults.file.path());
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
    if (!qv_serve(simulation, options.socket)) {
        std::perror(options.socket.c_str());
        return EXIT_FAILURE;
    }
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
