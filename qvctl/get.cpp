#include "checks.h"
#include "dialogue.h"
#include "report_view.h"
#include "secrets.h"
#include "terminal.h"
#include "verbs.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace qvctl {

namespace {

JsonPtr index_of(const Reading& reading, const Arguments& arguments) {
    const size_t longest = reading.contract().text_max;
    if (longest == 0) {
        return nullptr;
    }
    const std::string index = arguments.text.empty() ? "0" : arguments.text;
    check_text("index", index, longest);
    return JsonPtr(json_object_new_string(index.c_str()));
}

void show(const Report& report, const Options& options, const Arguments& arguments,
          const Reading& reading) {
    const Style style = Style::of_output(options);
    if (options.json) {
        puts(json_line(report).c_str());
    } else if (!reading.distinct.empty()) {
        print_lines(list_lines(distinct_entries(report.body(), reading.distinct).get(),
                               reading.distinct, style));
    } else {
        print_lines(body_lines(report, arguments.all, style));
        if (!arguments.all) {
            note_left_out(report, style);
        }
    }
}

/// Cells of a device, in the order of HEADING.
using DeviceCells = std::array<std::string, 5>;
const DeviceCells HEADING = {"macaddr", "ip", "hwname", "fwname", "state"};

DeviceCells cells_of(const std::string& macaddr, const DeviceSeen& seen) {
    return {macaddr, seen.ip, seen.hwname, seen.fwname,
            seen.announcing ? "announcing" : "reporting"};
}

/// A line that stands when the next one is not yet known: longer texts move what is behind them.
std::string device_line(const DeviceCells& cells) {
    constexpr std::array<size_t, 4> WIDTHS = {17, 15, 8, 14};
    std::string line;
    for (size_t i = 0; i < WIDTHS.size(); ++i) {
        const std::string cell = printable(cells[i]);
        line += fitted(cell, std::max(columns_of(cell), WIDTHS[i])) + "  ";
    }
    return line + cells.back();
}

JsonPtr json_of(const DevicesSeen& devices) {
    JsonPtr list(json_object_new_array());
    for (const auto& [macaddr, seen] : devices) {
        JsonPtr device(json_object_new_object());
        const DeviceCells cells = cells_of(macaddr, seen);
        for (size_t i = 0; i < cells.size(); ++i) {
            qv_json_add(device.get(), HEADING[i].c_str(),
                        JsonPtr(json_object_new_string(cells[i].c_str())));
        }
        qv_json_append(list.get(), std::move(device));
    }
    return list;
}

/// A list may well be empty. A device that has neither a name nor memory has not heard its wifi
/// manager, and reports zeros in the place of everything.
void check_wifi_manager(Session& session, const std::string& device, const Options& options) {
    const Report system = ask(session, device, new_command(COMMAND_GET_SYSTEM_STATS).get(),
                              REPORT_TYPE_SYSTEM_STATS, options.timeout_or(ANSWER_TIMEOUT));
    if (holds_nothing(system.body())) {
        throw Failure(NO_ANSWER, "device " + device +
                                     ": its wifi manager does not answer; zeros and empty lists "
                                     "are no values of the device");
    }
}

} // namespace

ExitStatus list_devices(const Options& options, const Arguments& /*arguments*/) {
    Session session(options);
    const double seconds = options.timeout_or(options.listen);
    note_short_listening(seconds);
    const Style style = Style::of_output(options);
    DevicesSeen devices;
    const auto deadline = after(seconds);
    while (const std::optional<Report> report = session.next(deadline)) {
        const size_t before = devices.size();
        note_device(devices, *report);
        if (devices.size() > before && !options.json) {
            if (before == 0) {
                puts(style.paint(Paint::faint, device_line(HEADING)).c_str());
            }
            puts(device_line(cells_of(report->macaddr, devices[report->macaddr])).c_str());
            check_output();
        }
    }
    if (options.json) {
        puts(json_object_to_json_string_ext(json_of(devices).get(), JSON_C_TO_STRING_PLAIN));
    } else if (devices.empty()) {
        puts(("none" + session.doubt()).c_str());
    }
    return devices.empty() ? NO_ANSWER : ANSWERED;
}

ExitStatus get(const Options& options, const Arguments& arguments, const Reading& reading) {
    const JsonPtr command = new_command(reading.command, index_of(reading, arguments));
    Session session(options);
    const std::string device = choose_device(session, options);
    const Report report = ask(session, device, command.get(), reading.contract().answer,
                              options.timeout_or(ANSWER_TIMEOUT));
    show(printable_report(report, options.show_secrets), options, arguments, reading);
    if (holds_nothing(report.body())) {
        check_wifi_manager(session, device, options);
    }
    return ANSWERED;
}

} // namespace qvctl
