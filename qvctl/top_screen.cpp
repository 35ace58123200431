#include "top_screen.h"

#include "protocol.h"
#include "report_view.h"
#include "screen_lines.h"
#include "top_stations.h"

#include <algorithm>
#include <cmath>

namespace qvctl {

namespace {

constexpr size_t HISTORY = 120; // samples of the CPU's load
constexpr size_t DEVICES_SHOWN = 6;
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
    device.is_mute = holds_nothing(body);
    device.known = true;
}

/// What stands in the place of a device's load.
std::string remark(const TopDevice& device) {
    if (Clock::now() - device.heard > SILENT_AFTER) {
        return "silent";
    }
    if (!device.known) {
        return "no statistics";
    }
    return device.is_mute ? "wifi manager does not answer" : "";
}

void add_devices(Lines& lines, const TopState& state, const ScreenSize& size, const Style& style) {
    std::vector<std::vector<std::string>> rows{{"DEVICE", "HOST", "CPU", "MEM", "UP", "LOAD"}};
    std::vector<const TopDevice*> devices;
    for (const auto& [macaddr, device] : state.devices) {
        const std::string name = (macaddr == state.selected ? "*" : " ") + macaddr;
        if (device.known && !device.is_mute) {
            rows.push_back({name, fitted(device.hostname, 12),
                            percent(device.cpu.empty() ? 0 : device.cpu.back()),
                            percent(device.memory), duration_text(device.uptime), remark(device)});
        } else {
            rows.push_back({name, "", "", "", "", remark(device)});
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
    const Style bare{.utf8 = style.utf8}; // the lines are painted and cut here
    bool is_heading = json_object_array_length(list) > 0;
    for (const std::string& line : list_lines(list, {}, bare)) {
        lines.add(line, is_heading ? Paint::faint : Paint::plain);
        is_heading = false;
    }
}

/// The last line of the screen.
void add_keys(Lines& lines, const TopState& state) {
    if (!state.has_keys) {
        return;
    }
    while (lines.left() > 1) {
        lines.add("");
    }
    lines.add("q end   Tab device   s sort: " + std::string(name_of(state.order)) +
                  "   up, down, PgUp, PgDn: from " + std::to_string(state.first + 1),
              Paint::faint);
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
    } else if (report.type == REPORT_TYPE_AP_STATS && is_list) {
        device.access_points.reset(json_object_get(body));
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
    first = 0;
}

void TopState::order_next() {
    order = next_order(order);
    first = 0;
}

void TopState::scroll(ptrdiff_t stations) {
    const auto found = devices.find(selected);
    const size_t count = found == devices.end() || found->second.stations == nullptr
                             ? 0
                             : json_object_array_length(found->second.stations.get());
    const auto last = static_cast<ptrdiff_t>(count) - 1;
    first = static_cast<size_t>(std::clamp(static_cast<ptrdiff_t>(first) + stations, ptrdiff_t{0},
                                           std::max(last, ptrdiff_t{0})));
}

std::vector<std::string> top_lines(const TopState& state, const ScreenSize& size,
                                   const Style& style) {
    Lines lines(size, style);
    lines.add("qvctl top  broker " + printable(state.broker) + "  " +
                  std::to_string(state.devices.size()) +
                  (state.devices.size() == 1 ? " device" : " devices") +
                  (state.connected ? "" : "  broker lost, trying again"),
              state.connected ? Paint::bold : Paint::bad);
    const auto found = state.devices.find(state.selected);
    if (found == state.devices.end()) {
        lines.add("no device has spoken yet", Paint::faint);
        add_keys(lines, state);
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
    add_stations(lines, state, device, size.columns, style);
    add_keys(lines, state);
    return lines.take();
}

} // namespace qvctl
