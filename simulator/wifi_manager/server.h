// The wifi manager's socket, and what is said over it.
#ifndef QV_SIMULATOR_SERVER_H
#define QV_SIMULATOR_SERVER_H

#include "access_point.h"
#include "faults.h"
#include "uplink.h"
#include "watched_file.h"

#include <chrono>
#include <optional>
#include <string>

/// The access point as it stood at some time, and how it is shown to others.
struct Simulation {
    AccessPoint ap;
    std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
    bool still = false; ///< no time passes
    Faults faults;
    WatchedFile system_package; ///< of the configuration store
    std::string notes;          ///< in it, which are shown
    std::string state_file;     ///< written after every change
    Uplink uplink;
    AccessPoint shown;                                 ///< of `ap`, after the time that follows
    std::optional<std::chrono::milliseconds> shown_at; ///< none once `ap` has changed
};

/// Writes the state file, or logs that it cannot be written.
void qv_save_simulation(Simulation& simulation);

/// Answers read messages and lets apply messages change the simulation, until SIGTERM or SIGINT;
/// one thread for all connections. False, with errno set, when it cannot listen there.
bool qv_serve(Simulation& simulation, const std::string& socket_path);

#endif
