// The wifi manager's socket, and what is said over it.
#ifndef QV_SIMULATOR_SERVER_H
#define QV_SIMULATOR_SERVER_H

#include "access_point.h"
#include "uplink.h"

#include <chrono>
#include <string>

/// The access point as it stood at some time, and how it is shown to others.
struct Simulation {
    AccessPoint ap;
    std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
    bool still = false; ///< no time passes
    std::string control_file;
    std::string system_package; ///< of the configuration store; its notes are shown
    std::string state_file;     ///< written after every change
    Uplink uplink;
};

/// Writes the state file, or logs that it cannot be written.
void qv_save_simulation(const Simulation& simulation);

/// Answers read messages and lets apply messages change the simulation, until SIGTERM or SIGINT;
/// one thread for all connections. False, with errno set, when it cannot listen there.
bool qv_serve(Simulation& simulation, const std::string& socket_path);

#endif
