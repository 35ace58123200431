#include "top_screen.h"

#include "protocol.h"
#include "report_view.h"

#include <algorithm>
#include <cmath>

namespace qvctl {

namespace {

constexpr size_t HISTORY = 120; // samples of the CPU's load
constexpr size_t DEVICES_SHOWN = 6;
constexpr size_t BAR_COLUMNS = 16;
constexpr Seconds SILENT_AFTER{25}; // a device that runs reports every ten seconds

int64_t number(json_object* object, const char* key) {
    return json_object_get_int64(qv_json_member(object, key));
}

double share(int64_t part, int64_t whole) {
    return whole <= 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

std::string percent(double value) {
    return std::to_string(std::lround(value * 100)) + "%";
}

void note_system(TopDevice& device, json_object* body) {
    device.hostname = cell_of(qv_json_member(body, "hostname"));
    device.cpu.push_back(std::clamp(share(number(body, "cpu_usage"), 100), 0.0, 1.0));
    if (device.cpu.size() > HISTORY) {
        device.cpu.erase(device.cpu.begin());
    }
    device.memory = share(number(body, "max_memory_used"), number(body, "max_memory"));
    device.uptime = number(body, "uptime");
    device.known = true;
}

/// Collects lines that fit the screen.
class Lines {
public:
    Lines(const ScreenSize& size, const Style& style) : size_(size), style_(style) {}

    size_t left() const {
        return size_.lines > lines_.size() ? size_.lines - lines_.size() : 0;
    }
    /// A line and, at its end, a drawing of that many columns.
    void add(std::string_view text, Paint paint = Paint::plain, std::string_view drawing = "",
             size_t drawing_columns = 0, Paint drawing_paint = Paint::plain) {
        if (left() == 0) {
            return;
        }
        const size_t columns = size_.columns - std::min(size_.columns, drawing_columns);
        std::string line = fitted(text, std::min(columns, columns_of(text)));
        line = style_.paint(paint, line);
        lines_.push_back(line + style_.paint(drawing_paint, drawing));
    }
    std::vector<std::string> take() {
        return std::move(lines_);
    }

private:
    ScreenSize size_;
    const Style& style_;
    std::vector<std::string> lines_;
};

void add_devices(Lines& lines, const TopState& state, const ScreenSize& size, const Style& style) {
    std::vector<std::vector<std::string>> rows{{"DEVICE", "HOST", "CPU", "MEM", "UP", "LOAD"}};
    std::vector<const TopDevice*> devices;
    for (const auto& [macaddr, device] : state.devices) {
        const bool silent = Clock::now() - device.heard > SILENT_AFTER;
        const std::string mark = macaddr == state.selected ? "*" : " ";
        if (device.known) {
            rows.push_back({mark + macaddr, fitted(device.hostname, 12),
                            percent(device.cpu.empty() ? 0 : device.cpu.back()),
                            percent(device.memory), duration_text(device.uptime),
                            silent ? "silent" : ""});
        } else {
            rows.push_back({mark + macaddr, "", "", "", "", silent ? "silent" : "no statistics"});
        }
        devices.push_back(&device);
    }
    const std::vector<std::string> text = align(rows);
    const size_t used = columns_of(text[0]) - columns_of("LOAD");
    const size_t room = size.columns > used ? size.columns - used : 0;
    lines.add(text[0], Paint::faint);
    const auto selected = static_cast<size_t>(
        std::distance(state.devices.begin(), state.devices.find(state.selected)));
    const size_t first = selected < DEVICES_SHOWN ? 0 : selected + 1 - DEVICES_SHOWN;
    for (size_t i = first; i < devices.size() && i < first + DEVICES_SHOWN; ++i) {
        const std::vector<double>& cpu = devices[i]->cpu;
        const size_t count = std::min(room, cpu.size());
        const bool draws = rows[i + 1].back().empty();
        lines.add(draws ? fitted(text[i + 1], used) : text[i + 1], Paint::plain,
                  draws ? style.sparkline(std::span(cpu).last(count)) : "", draws ? count : 0,
                  Paint::good);
    }
    if (devices.size() > DEVICES_SHOWN) {
        lines.add("... and " + std::to_string(devices.size() - DEVICES_SHOWN) + " more",
                  Paint::faint);
    }
}

void add_table(Lines& lines, json_object* list, const Style& style) {
    if (list == nullptr) {
        lines.add("not reported yet", Paint::faint);
        return;
    }
    Style bare = style; // the lines are painted here
    bare.color = false;
    bool is_heading = json_object_array_length(list) > 0;
    for (const std::string& line : list_lines(list, {}, bare)) {
        lines.add(line, is_heading ? Paint::faint : Paint::plain);
        is_heading = false;
    }
}

/// Signals in dBm from -90 to -30, or as much above the noise.
double signal_share(int64_t rssi) {
    return static_cast<double>(rssi < 0 ? rssi + 90 : rssi) / 60;
}

Paint signal_paint(double share) {
    return share > 0.5 ? Paint::good : share > 0.25 ? Paint::fair : Paint::bad;
}

std::vector<json_object*> by_signal(json_object* list) {
    std::vector<json_object*> stations;
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
        stations.push_back(json_object_array_get_idx(list, i));
    }
    std::ranges::stable_sort(stations, std::ranges::greater{}, [](json_object* station) {
        return signal_share(number(station, "rssi"));
    });
    return stations;
}

void add_stations(Lines& lines, json_object* list, const Style& style) {
    if (list == nullptr) {
        lines.add("not reported yet", Paint::faint);
        return;
    }
    const std::vector<json_object*> stations = by_signal(list);
    std::vector<std::vector<std::string>> rows{{"STATION", "CH", "TX", "RX", "UP", "RSSI", ""}};
    for (json_object* const station : stations) {
        const auto cell = [station](const char* key) {
            return cell_of(qv_json_member(station, key));
        };
        rows.push_back({cell("macaddr"), cell("channel"), cell("txrate"), cell("rxrate"),
                        duration_text(number(station, "uptime")), cell("rssi"), ""});
    }
    const std::vector<std::string> text = align(rows);
    const size_t width = columns_of(*std::ranges::max_element(
                             text, {}, [](const std::string& line) { return columns_of(line); })) +
                         2;
    lines.add(text[0], Paint::faint);
    const size_t room = lines.left();
    const size_t shown =
        stations.size() <= room ? stations.size() : room - std::min<size_t>(room, 1);
    for (size_t i = 0; i < shown; ++i) {
        const double share = signal_share(number(stations[i], "rssi"));
        lines.add(fitted(text[i + 1], width), Paint::plain, style.bar(share, BAR_COLUMNS),
                  BAR_COLUMNS, signal_paint(share));
    }
    if (shown < stations.size()) {
        lines.add("... and " + std::to_string(stations.size() - shown) + " more", Paint::faint);
    }
}

std::string count_text(json_object* list, const char* what) {
    const size_t count = list == nullptr ? 0 : json_object_array_length(list);
    return std::to_string(count) + " " + what;
}

} // namespace

void TopState::note(const Report& report) {
    if (report.macaddr.empty()) {
        return;
    }
    TopDevice& device = devices[report.macaddr];
    device.heard = Clock::now();
    if (selected.empty()) {
        selected = report.macaddr;
    }
    if (report.type != REPORT_TYPE_DEVICE_DISCOVERY) {
        device.ip = report.member("ip");
    }
    json_object* const body = report.body();
    const bool is_list = json_object_is_type(body, json_type_array) != 0;
    if (report.type == REPORT_TYPE_SYSTEM_STATS) {
        note_system(device, body);
    } else if (report.type == REPORT_TYPE_RADIO_STATS && is_list) {
        device.radios.reset(json_object_get(body));
    } else if (report.type == REPORT_TYPE_STA_STATS && is_list) {
        device.stations.reset(json_object_get(body));
    }
}

void TopState::select_next() {
    auto next = devices.upper_bound(selected);
    if (next == devices.end()) {
        next = devices.begin();
    }
    if (next != devices.end()) {
        selected = next->first;
    }
}

std::vector<std::string> top_lines(const TopState& state, const ScreenSize& size,
                                   const Style& style) {
    Lines lines(size, style);
    lines.add("qvctl top  broker " + printable(state.broker) + "  " +
                  std::to_string(state.devices.size()) +
                  (state.devices.size() == 1 ? " device" : " devices") +
                  "  (q ends, Tab: next device)",
              Paint::bold);
    const auto found = state.devices.find(state.selected);
    if (found == state.devices.end()) {
        lines.add("no device has spoken yet", Paint::faint);
        return lines.take();
    }
    add_devices(lines, state, size, style);
    const TopDevice& device = found->second;
    lines.add("");
    lines.add(state.selected + "  " + printable(device.ip) + "  " +
                  count_text(device.radios.get(), "radios") + ", " +
                  count_text(device.stations.get(), "stations"),
              Paint::bold);
    add_table(lines, device.radios.get(), style);
    lines.add("");
    add_stations(lines, device.stations.get(), style);
    return lines.take();
}

} // namespace qvctl
