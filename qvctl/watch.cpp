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

std::string first_value(json_object* entry) {
    if (json_object_is_type(entry, json_type_object) == 0 ||
        json_object_object_length(entry) == 0) {
        return cell_of(entry);
    }
    const json_object_iterator first = json_object_iter_begin(entry);
    return cell_of(json_object_iter_peek_value(&first));
}

/// What a report holds: values of an object, and of a list what its entries begin with.
std::string summary(const Report& report, const Style& style) {
    json_object* const body = report.body();
    if (report.type == REPORT_TYPE_SYSTEM_STATS && holds_nothing(body)) {
        return "the wifi manager does not answer";
    }
    std::string text;
    if (json_object_is_type(body, json_type_array) != 0) {
        text = std::to_string(json_object_array_length(body)) + ":";
        for (size_t i = 0; i < json_object_array_length(body); ++i) {
            text += " " + first_value(json_object_array_get_idx(body, i));
        }
        return text;
    }
    if (json_object_is_type(body, json_type_object) == 0) {
        return body_lines(report, false, style).front();
    }
    json_object_object_foreach(body, key, value) {
        if (const std::string cell = cell_of(value); !cell.empty()) {
            text += (text.empty() ? "" : " ") + printable(key) + "=" + cell;
        }
    }
    return text;
}

void show(const Report& report, bool all, const Style& style) {
    const ReportKind* const kind = find_report_kind(report.type);
    const std::string name = kind == nullptr ? "unknown report" : kind->name;
    const std::string time = time_of_day() + "  ";
    const std::string device = fitted(printable(report.macaddr), 17) + "  ";
    const std::string what = std::to_string(report.type) + " " + name + "  ";
    const std::string begin = style.paint(Paint::faint, time) + device;
    const std::string values = all ? "" : summary(report, style);
    const size_t used = columns_of(time + device + what);
    if (style.columns == 0 || used + columns_of(values) <= style.columns) {
        printf("%s%s%s\n", begin.c_str(), style.paint(Paint::good, what).c_str(), values.c_str());
    } else { // a line of their own, cut to it
        printf("%s%s\n", begin.c_str(), style.paint(Paint::good, what).c_str());
        printf("    %s\n", shortened(values, style.columns - 4, style).c_str());
    }
    if (all) {
        print_lines(body_lines(report, false, style), "    ");
    }
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
    Session session(options, OnLoss::reconnect);
    std::array others = {pollfd{.fd = signals.descriptor(), .events = POLLIN, .revents = 0}};
    const int most = arguments.count.value_or(std::numeric_limits<int>::max());
    int shown = 0;
    const auto deadline =
        options.timeout.has_value() ? after(*options.timeout) : Clock::time_point::max();
    for (bool connected = true; shown < most;) {
        const std::optional<Report> report = session.next(deadline, others);
        if (session.connected() != connected) {
            connected = session.connected();
            fprintf(stderr, "note: broker %s: %s\n", session.broker().c_str(),
                    connected ? "connected again" : "connection lost; trying again");
        }
        if (others[0].revents != 0 && signals.asks_to_end()) {
            return ANSWERED;
        }
        if (!report.has_value()) {
            if (Clock::now() >= deadline) {
                return end_of_time(options, arguments, shown);
            }
            continue;
        }
        if (!options.means(report->macaddr)) {
            continue;
        }
        const Report shown_report = printable_report(*report, options.show_secrets);
        if (options.json) {
            puts(json_line(shown_report).c_str());
        } else {
            show(shown_report, arguments.all, style);
        }
        check_output();
        ++shown;
    }
    return ANSWERED;
}

} // namespace qvctl
