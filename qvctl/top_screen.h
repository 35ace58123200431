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
    bool is_mute = false;    ///< its wifi manager does not answer
    int64_t uptime = 0;      ///< seconds
    bool known = false;      ///< statistics have come
    Clock::time_point heard;
    JsonPtr radios;
    JsonPtr access_points;
    JsonPtr stations;
};

enum class StationOrder { signal, rate, uptime, network, macaddr };

struct TopState {
    std::string broker;
    bool connected = true;                      ///< to the broker
    bool has_keys = false;                      ///< which a last line explains
    std::map<std::string, TopDevice> devices{}; ///< by MAC address
    std::string selected{};                     ///< the one shown in detail
    StationOrder order = StationOrder::signal;
    size_t first = 0; ///< station shown

    /// Takes what a report says.
    void note(const Report& report);
    void select_next();
    void order_next();
    /// Moves the stations up or down, as far as there are any.
    void scroll(ptrdiff_t stations);
};

/// The screen, no line longer and not more lines than it has.
std::vector<std::string> top_lines(const TopState& state, const ScreenSize& size,
                                   const Style& style);

} // namespace qvctl

#endif
