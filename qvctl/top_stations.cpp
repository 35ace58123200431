#include "top_stations.h"

#include "report_view.h"

#include <algorithm>

namespace qvctl {

namespace {

constexpr size_t BAR_COLUMNS = 16;
constexpr size_t SSID_COLUMNS = 12;

/// Signals in dBm from -90 to -30, or as much above the noise.
double signal_share(int64_t rssi) {
    return static_cast<double>(rssi < 0 ? rssi + 90 : rssi) / 60;
}

Paint signal_paint(double share) {
    return share > 0.5 ? Paint::good : share > 0.25 ? Paint::fair : Paint::bad;
}

/// A station and the access point that it is associated with, or none that is known.
struct Station {
    json_object* report;
    json_object* access_point;

    int64_t number(const char* key) const {
        return json_object_get_int64(qv_json_member(report, key));
    }
    std::string cell(const char* key) const {
        json_object* const value = qv_json_member(report, key);
        return value == nullptr ? "" : cell_of(value);
    }
    std::string place(const char* key) const {
        json_object* const value = qv_json_member(access_point, key);
        return value == nullptr ? "" : cell_of(value);
    }
};

struct OrderName {
    StationOrder order;
    const char* name;
};
constexpr OrderName ORDERS[] = {{StationOrder::signal, "signal"},
                                {StationOrder::rate, "rate"},
                                {StationOrder::uptime, "uptime"},
                                {StationOrder::network, "network"},
                                {StationOrder::macaddr, "address"}};

bool stands_before(StationOrder order, const Station& one, const Station& other) {
    switch (order) {
    case StationOrder::signal:
        return signal_share(one.number("rssi")) > signal_share(other.number("rssi"));
    case StationOrder::rate: return one.number("rxrate") > other.number("rxrate");
    case StationOrder::uptime: return one.number("uptime") > other.number("uptime");
    case StationOrder::network: return one.place("ifname") < other.place("ifname");
    case StationOrder::macaddr: return one.cell("macaddr") < other.cell("macaddr");
    }
    return false;
}

std::vector<Station> stations_of(const TopDevice& device, StationOrder order) {
    std::map<std::string, json_object*> access_points;
    json_object* const aps = device.access_points.get();
    for (size_t i = 0; aps != nullptr && i < json_object_array_length(aps); ++i) {
        json_object* const entry = json_object_array_get_idx(aps, i);
        access_points[cell_of(qv_json_member(entry, "bssid"))] = entry;
    }
    std::vector<Station> stations;
    for (size_t i = 0; i < json_object_array_length(device.stations.get()); ++i) {
        json_object* const report = json_object_array_get_idx(device.stations.get(), i);
        const auto own = access_points.find(cell_of(qv_json_member(report, "bssid")));
        stations.push_back({report, own == access_points.end() ? nullptr : own->second});
    }
    std::ranges::stable_sort(stations, [order](const Station& one, const Station& other) {
        return stands_before(order, one, other);
    });
    return stations;
}

} // namespace

const char* name_of(StationOrder order) {
    return std::ranges::find(ORDERS, order, &OrderName::order)->name;
}

StationOrder next_order(StationOrder order) {
    const auto* const now = std::ranges::find(ORDERS, order, &OrderName::order);
    return now + 1 == std::end(ORDERS) ? ORDERS[0].order : (now + 1)->order;
}

void add_stations(Lines& lines, const TopState& state, const TopDevice& device, size_t columns,
                  const Style& style) {
    if (device.stations == nullptr) {
        lines.add("not reported yet", Paint::faint);
        return;
    }
    const std::vector<Station> stations = stations_of(device, state.order);
    std::vector<std::vector<std::string>> rows{
        {"STATION", "IF", "SSID", "CH", "TX", "RX", "UP", "RSSI", ""}};
    for (const Station& station : stations) {
        rows.push_back({station.cell("macaddr"), station.place("ifname"),
                        fitted(station.place("ssid"), SSID_COLUMNS), station.cell("channel"),
                        station.cell("txrate"), station.cell("rxrate"),
                        duration_text(station.number("uptime")), station.cell("rssi"), ""});
    }
    const std::vector<std::string> text = align(rows);
    const size_t width = columns_of(*std::ranges::max_element(
                             text, {}, [](const std::string& line) { return columns_of(line); })) +
                         2;
    const size_t bar = std::min(BAR_COLUMNS, columns - std::min(columns, width));
    lines.add(text[0], Paint::faint);
    const size_t room = lines.left() - std::min<size_t>(lines.left(), state.has_keys ? 1 : 0);
    const size_t first = std::min(state.first, stations.size());
    const size_t below = stations.size() - first;
    const size_t shown = below <= room ? below : room - std::min<size_t>(room, 1);
    for (size_t i = first; i < first + shown; ++i) {
        const double share = signal_share(stations[i].number("rssi"));
        lines.add(fitted(text[i + 1], std::min(width, columns)), Paint::plain,
                  style.bar(share, bar), bar, signal_paint(share));
    }
    if (shown < below) {
        lines.add("... and " + std::to_string(below - shown) + " more", Paint::faint);
    }
}

} // namespace qvctl
