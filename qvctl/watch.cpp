#include "dialogue.h"
#include "report_view.h"
#include "secrets.h"
#include "terminal.h"
#include "verbs.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <limits>

namespace qvctl {

namespace {

std::string time_of_day() {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    char text[16];
    strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

/// What a report holds, in a word or two.
std::string summary(const Report& report, const Style& style) {
    json_object* const body = report.body();
    if (json_object_is_type(body, json_type_array) != 0) {
        return std::to_string(json_object_array_length(body)) + " entries";
    }
    if (json_object_is_type(body, json_type_object) != 0) {
        return json_object_object_length(body) == 0
                   ? ""
                   : std::to_string(json_object_object_length(body)) + " members";
    }
    return body_lines(report, false, style).front();
}

void show(const Report& report, bool all, const Style& style) {
    const ReportKind* const kind = find_report_kind(report.type);
    const std::string name = kind == nullptr ? "unknown report" : kind->name;
    printf("%s  %s  %s  %s\n", style.paint(Paint::faint, time_of_day()).c_str(),
           fitted(printable(report.macaddr), 17).c_str(),
           style.paint(Paint::good, std::to_string(report.type) + " " + name).c_str(),
           all ? "" : summary(report, style).c_str());
    if (all) {
        print_lines(body_lines(report, false, style), "    ");
    }
    fflush(stdout);
}

/// How a watch ends whose time is over: a count that is not full is no answer.
ExitStatus end_of_time(const Options& options, const Arguments& arguments, int shown) {
    if (shown > 0 && !arguments.count.has_value()) {
        return ANSWERED;
    }
    const std::string reports =
        shown == 0 ? "no report"
                   : std::to_string(shown) + " of " + std::to_string(*arguments.count) + " reports";
    throw Failure(NO_ANSWER, reports + (options.device.empty() ? "" : " of " + options.device) +
                                 " within " + seconds_text(*options.timeout));
}

} // namespace

ExitStatus watch(const Options& options, const Arguments& arguments) {
    const SignalDescriptor signals;
    const Style style = Style::of_output(options);
    Session session(options);
    std::array others = {pollfd{.fd = signals.descriptor(), .events = POLLIN, .revents = 0}};
    const int most = arguments.count.value_or(std::numeric_limits<int>::max());
    int shown = 0;
    const auto deadline =
        options.timeout.has_value() ? after(*options.timeout) : Clock::time_point::max();
    while (shown < most) {
        const std::optional<Report> report = session.next(deadline, others);
        if (others[0].revents != 0 && signals.asks_to_end()) {
            return ANSWERED;
        }
        if (!report.has_value()) {
            if (Clock::now() >= deadline) {
                return end_of_time(options, arguments, shown);
            }
            continue;
        }
        if (!options.device.empty() && report->macaddr != options.device) {
            continue;
        }
        const Report shown_report = printable_report(*report, options.show_secrets);
        if (options.json) {
            puts(json_line(shown_report).c_str());
            fflush(stdout);
        } else {
            show(shown_report, arguments.all, style);
        }
        ++shown;
    }
    return ANSWERED;
}

} // namespace qvctl
