#include "dialogue.h"

#include "failure.h"
#include "protocol.h"

#include <cstdio>
#include <unistd.h>

namespace qvctl {

namespace {

std::string names_of(const DevicesSeen& devices) {
    std::string names;
    for (const auto& [macaddr, seen] : devices) {
        names += (names.empty() ? "" : ", ") + macaddr;
    }
    return names;
}

void refuse_several(const DevicesSeen& devices) {
    if (devices.size() > 1) {
        throw Failure(USAGE,
                      "more than one device speaks (" + names_of(devices) + "): name one with -d");
    }
}

Failure no_report(const Session& session, const std::string& macaddr, int type, double seconds) {
    const ReportKind* const kind = find_report_kind(type);
    return {NO_ANSWER, "device " + macaddr + ": no report of type " + std::to_string(type) +
                           (kind == nullptr ? "" : std::string(" (") + kind->name + ")") +
                           " within " + seconds_text(seconds) + session.doubt()};
}

std::optional<Report> next_of(Session& session, const std::string& macaddr, int type,
                              Clock::time_point deadline) {
    while (std::optional<Report> report = session.next(deadline)) {
        if (report->type == type && report->macaddr == macaddr) {
            return report;
        }
    }
    return std::nullopt;
}

std::string ending_text(const Options& options) {
    return options.device.empty() ? "" : " that ends in " + options.device;
}

} // namespace

void note_short_listening(double seconds) {
    constexpr double LONGEST_SILENCE = 10;
    if (seconds < LONGEST_SILENCE) {
        fprintf(stderr, "note: a device may keep silent for %s; %s may not be enough to hear it\n",
                seconds_text(LONGEST_SILENCE).c_str(), seconds_text(seconds).c_str());
    }
}

std::string seconds_text(double seconds) {
    char text[32];
    snprintf(text, sizeof text, "%g s", seconds);
    return text;
}

void note_device(DevicesSeen& devices, const Report& report) {
    if (report.macaddr.empty()) {
        return;
    }
    DeviceSeen& seen = devices[report.macaddr];
    seen.hwname = report.member("hwname");
    seen.fwname = report.member("fwname");
    seen.announcing = report.type == REPORT_TYPE_DEVICE_DISCOVERY;
    if (!seen.announcing) { // an announcement does not tell the address
        seen.ip = report.member("ip");
    }
}

std::string choose_device(Session& session, const Options& options) {
    if (options.names_device()) {
        return options.device;
    }
    if (isatty(STDERR_FILENO) != 0) {
        fprintf(stderr,
                "listening %s for the only device%s; its whole MAC address saves the wait\n",
                seconds_text(options.listen).c_str(), ending_text(options).c_str());
    }
    note_short_listening(options.listen);
    DevicesSeen devices;
    const auto deadline = after(options.listen);
    while (Clock::now() < deadline) {
        const std::optional<Report> report = session.next(deadline);
        if (report.has_value() && options.means(report->macaddr)) {
            note_device(devices, *report);
            refuse_several(devices);
        }
    }
    if (devices.empty()) {
        throw Failure(NO_ANSWER, "no device" + ending_text(options) + " has spoken within " +
                                     seconds_text(options.listen) + session.doubt());
    }
    return devices.begin()->first;
}

JsonPtr new_command(CommandType type, JsonPtr value, std::optional<int64_t> timestamp) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const int64_t milliseconds = std::chrono::floor<std::chrono::milliseconds>(now).count();
    JsonPtr command(json_object_new_object());
    qv_json_add(command.get(), "type", JsonPtr(json_object_new_int(type)));
    qv_json_add(command.get(), "timestamp",
                JsonPtr(json_object_new_int64(timestamp.value_or(milliseconds))));
    if (value != nullptr) {
        JsonPtr data(json_object_new_object());
        qv_json_add(data.get(), qv_command_contract(type).key, std::move(value));
        qv_json_add(command.get(), "data", std::move(data));
    }
    return command;
}

Report wait_for(Session& session, const std::string& macaddr, int type, double seconds) {
    if (std::optional<Report> report = next_of(session, macaddr, type, after(seconds))) {
        return std::move(*report);
    }
    throw no_report(session, macaddr, type, seconds);
}

Report ask(Session& session, const std::string& macaddr, json_object* command, int report_type,
           double seconds) {
    session.forget();
    session.send(macaddr, command);
    const auto deadline = after(seconds);
    while (std::optional<Report> report = session.next(deadline)) {
        if (report->macaddr != macaddr) {
            continue;
        }
        if (report->type == report_type) {
            return std::move(*report);
        }
        if (report->type == REPORT_TYPE_DEVICE_DISCOVERY) {
            session.send(macaddr, command);
        }
    }
    throw no_report(session, macaddr, report_type, seconds);
}

} // namespace qvctl
