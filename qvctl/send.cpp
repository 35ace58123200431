#include "checks.h"
#include "dialogue.h"
#include "protocol/commands.h"
#include "report_view.h"
#include "terminal.h"
#include "verbs.h"

#include <charconv>
#include <cstdio>
#include <ctime>

namespace qvctl {

namespace {

JsonPtr text_value(const std::string& text) {
    return JsonPtr(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

std::optional<int64_t> parse_count(std::string_view text) {
    int64_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(seconds)
                                                                    : std::nullopt;
}

/// Local time, or UTC with a Z at its end.
std::optional<int64_t> parse_date(const std::string& text) {
    for (const char* const format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"}) {
        tm date{};
        const char* const rest = strptime(text.c_str(), format, &date);
        if (rest != nullptr && (*rest == '\0' || std::string_view(rest) == "Z")) {
            date.tm_isdst = -1;
            const tm asked = date;
            const time_t seconds = *rest == 'Z' ? timegm(&date) : mktime(&date);
            // A day that the month has not has become one of the next month.
            return date.tm_mday == asked.tm_mday && date.tm_mon == asked.tm_mon
                       ? std::optional<int64_t>(seconds)
                       : std::nullopt;
        }
    }
    return std::nullopt;
}

/// Milliseconds since 1970, or none for now.
std::optional<int64_t> clock_time(const std::string& text) {
    if (text.empty() || text == "now") {
        return std::nullopt;
    }
    const std::optional<int64_t> seconds =
        text[0] == '@' ? parse_count(std::string_view(text).substr(1)) : parse_date(text);
    if (!seconds.has_value()) {
        throw Failure(USAGE, text + ": no time; \"YYYY-MM-DD HH:MM:SS\" (with Z: UTC), @SECONDS "
                                    "since 1970 or now");
    }
    constexpr int64_t FIRST = -30610224000; // 1000-01-01 00:00:00 UTC
    constexpr int64_t LAST = 253402300799;  // 9999-12-31 23:59:59 UTC
    if (*seconds < FIRST || *seconds > LAST) {
        throw Failure(REFUSED, "timestamp: the year must be from 1000 to 9999");
    }
    return *seconds * 1000;
}

void check_password(const std::string& password) {
    if (password.empty()) {
        throw Failure(REFUSED, "password: is empty");
    }
    check_text("password", password, ADMIN_PASSWORD_MAX);
    check_no_control("password", password);
}

ExitStatus send_to_device(const Options& options, const JsonPtr& command) {
    Session session(options);
    send_only(session, choose_device(session, options), options, command.get());
    return ANSWERED;
}

} // namespace

void send_only(Session& session, const std::string& device, const Options& options,
               json_object* command) {
    session.send(device, command);
    const int type = json_object_get_int(qv_json_member(command, "type"));
    if (options.json) {
        printf("{\"sent\":%d,\"macaddr\":\"%s\"}\n", type, device.c_str());
    } else {
        printf("sent to %s; the device confirms command %d by no report\n", device.c_str(), type);
    }
}

ExitStatus set_clock(const Options& options, const Arguments& arguments) {
    const std::optional<int64_t> time = clock_time(arguments.text);
    return send_to_device(options, new_command(COMMAND_SET_CLOCK, nullptr, time));
}

ExitStatus set_password(const Options& options, const Arguments& /*arguments*/) {
    const std::string password = read_password();
    check_password(password);
    return send_to_device(options, new_command(COMMAND_SET_PASSWORD, text_value(password)));
}

ExitStatus set_notes(const Options& options, const Arguments& arguments) {
    check_text("equipment_notes", arguments.text, EQUIPMENT_NOTES_MAX);
    return send_to_device(options,
                          new_command(COMMAND_SET_EQUIPMENT_NOTES, text_value(arguments.text)));
}

ExitStatus reload_wifi(const Options& options, const Arguments& /*arguments*/) {
    return send_to_device(options, new_command(COMMAND_WIFI_RELOAD));
}

ExitStatus pass_through(const Options& options, const Arguments& arguments) {
    check_text("general_data", arguments.text, GENERAL_DATA_MAX);
    return send_to_device(options,
                          new_command(COMMAND_SET_GENERAL_DATA, text_value(arguments.text)));
}

} // namespace qvctl
