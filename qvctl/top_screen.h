// What the live screen knows of the devices, and how it shows it. Units of the wifi manager's
// numbers are its own; the screen assumes load in percent, uptime in seconds and signals in dBm.
#ifndef QVCTL_TOP_SCREEN_H
#define QVCTL_TOP_SCREEN_H

#include "session.h"
#include "style.h"
#include "terminal.h"

#include <map>
#include <string>
#include <vector>

namespace qvctl {

struct TopDevice {
    std::string ip;
    std::string hostname;
    std::vector<double> cpu; ///< shares of 1, oldest first
    double memory = 0;       ///< share of 1
    int64_t uptime = 0;      ///< seconds
    bool known = false;      ///< statistics have come
    Clock::time_point heard;
    JsonPtr radios;
    JsonPtr stations;
};

struct TopState {
    std::string broker;
    std::map<std::string, TopDevice> devices{}; ///< by MAC address
    std::string selected{};                     ///< the one shown in detail

    /// Takes what a report says.
    void note(const Report& report);
    void select_next();
};

/// The screen, no line longer and not more lines than it has.
std::vector<std::string> top_lines(const TopState& state, const ScreenSize& size,
                                   const Style& style);

} // namespace qvctl

#endif
