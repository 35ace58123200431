#include "maintenance/device_commands.h"

#include "json/json_field.h"
#include "json/text.h"
#include "platform/log.h"
#include "platform/shell.h"
#include "platform/zendry_common.h"
#include "protocol/commands.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

// --- Clock ---

namespace {

constexpr size_t LOCAL_TIME_SIZE = 20;
constexpr int TM_YEAR_BASE = 1900;

/// Digits from end to end, behind a sign or none.
bool is_decimal(std::string_view text) {
    if (text.starts_with('-') || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

/// Whether json-c's conversion to an integer gives the number that the value is: it makes one of
/// other values, too, 12 of "12abc" and 0 of "soon".
bool is_number(json_object* value) {
    switch (json_object_get_type(value)) {
    case json_type_int: return true;
    case json_type_double: return std::isfinite(json_object_get_double(value));
    case json_type_string: return is_decimal(qv_json_value_text(value));
    case json_type_null:
    case json_type_boolean:
    case json_type_object:
    case json_type_array: return false;
    }
    return false;
}

bool format_local_time(int64_t seconds, std::span<char, LOCAL_TIME_SIZE> text) {
    static_assert(sizeof(time_t) == sizeof seconds);
    const time_t clock = seconds;
    tm local{};
    tzset(); // a zone that was changed since: localtime_r(3) need not look, localtime(3) does
    return localtime_r(&clock, &local) != nullptr && local.tm_year >= 1000 - TM_YEAR_BASE &&
           local.tm_year <= 9999 - TM_YEAR_BASE &&
           strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local) != 0;
}

} // namespace

int32_t qv_json_parse_msg_get_timestamp(std::optional<int64_t>& seconds, const char* text,
                                        uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(text));
    json_object* const value = qv_json_member(root.get(), "timestamp");
    if (is_number(value)) {
        seconds = json_object_get_int64(value) / 1000;
    }
    return 0;
}

int32_t qv_set_system_time(AgentContext& /*context*/, const char* payload, uint32_t length) {
    qv_log("SUB MSG: payload=%s\n", payload);
    std::optional<int64_t> seconds;
    qv_json_parse_msg_get_timestamp(seconds, payload, length);
    char local_time[LOCAL_TIME_SIZE];
    if (!seconds.has_value() || !format_local_time(*seconds, local_time)) {
        qv_log("QV_ERR: clock not set: no timestamp that is a date\n");
        return 0;
    }
    char command[64];
    snprintf(command, sizeof command, "date -s \"%s\"", local_time);
    qv_log("QV: update time command: %s\n", command);
    qv_run_shell(command);
    return 0;
}

// --- Administrator password ---

namespace {

/// Ends the quoted text of `echo '` and starts that of a printf in its place.
constexpr std::string_view PRINTF_INSTEAD = R"('>/dev/null; printf '%s\n' ')";
constexpr std::string_view ESCAPED_QUOTE = R"('\'')";

/// The longest escaped password with its NUL.
constexpr size_t ESCAPED_SIZE =
    PRINTF_INSTEAD.size() + ADMIN_PASSWORD_MAX * ESCAPED_QUOTE.size() + 1;

bool has_control_characters(std::string_view text) {
    return std::ranges::any_of(text, [](char character) {
        const auto byte = static_cast<uint8_t>(character);
        return byte < 0x20 || byte == 0x7F;
    });
}

/// Whether echo may write something else than the text: shells differ in whether it takes
/// options and whether it replaces backslash sequences, and none has a way to prevent both.
bool echo_alters(std::string_view text) {
    return text.find('\\') != text.npos ||
           (text.starts_with('-') && text.find_first_not_of("neE", 1) == text.npos);
}

/// The text that makes `echo '%s'` write exactly the password and a line end.
void escape_password(std::string_view password, std::span<char, ESCAPED_SIZE> escaped) {
    char* end = escaped.data();
    if (echo_alters(password)) {
        end = std::ranges::copy(PRINTF_INSTEAD, end).out;
    }
    for (const char character : password) {
        end = character == '\'' ? std::ranges::copy(ESCAPED_QUOTE, end).out
                                : (*end = character, end + 1);
    }
    *end = '\0';
}

} // namespace

int32_t qv_set_admin_password(AgentContext& /*context*/, const char* payload, uint32_t /*length*/) {
    qv_log("SUB MSG: payload=%s\n", payload);
    const GeneralDataText data = qv_json_parse_msg_general_data(payload);
    if (data.text.size() > ADMIN_PASSWORD_MAX) {
        qv_log("QV_ERR: password refused: longer than %zu bytes\n", ADMIN_PASSWORD_MAX);
        return 0;
    }
    if (has_control_characters(data.text)) {
        qv_log("QV_ERR: password refused: control characters\n");
        return 0;
    }
    char password[ESCAPED_SIZE];
    escape_password(data.text, password);
    char command[61 + 2 * ESCAPED_SIZE];
    snprintf(command, sizeof command,
             "(echo '%s'; sleep 1; echo '%s') | passwd 'admin' >/dev/null 2>&1", password,
             password);
    qv_log("QV: update password command: %s\n", command);
    qv_run_shell(command);
    return 0;
}

// --- Equipment notes ---

namespace {

/// The note as a C text, cut where it must be.
std::string_view fitting_notes(std::string_view text) {
    const std::string_view notes = text.substr(0, text.find('\0'));
    const size_t size = qv_utf8_cut(notes, EQUIPMENT_NOTES_MAX);
    if (size < notes.size()) {
        qv_log("QV_INFO: equipment_notes cut from %zu to %zu bytes\n", notes.size(), size);
    }
    return notes.substr(0, size);
}

} // namespace

int32_t qv_set_equipment_notes(AgentContext& /*context*/, const char* payload,
                               uint32_t /*length*/) {
    char notes[EQUIPMENT_NOTES_MAX + 1] = {};
    {
        const GeneralDataText data = qv_json_parse_msg_general_data(payload);
        std::ranges::copy(fitting_notes(data.text), notes);
    }
    for (int line = 0; line < 2; ++line) {
        qv_log("QV: update equipment_notes data: %s\n", notes);
    }
    uciInit();
    qv_log("qv_set_equipment_notes: uciInit\n");
    uciSet("system", "@system[0]", "equipment_notes", notes);
    qv_log("qv_set_equipment_notes: uciSet\n");
    uciCommit("system");
    qv_log("qv_set_equipment_notes: uciCommit\n");
    uciDestroy();
    qv_log("qv_set_equipment_notes: uciDestroy\n");
    return 0;
}

// --- Wifi ---

int32_t qv_wifi_reload(AgentContext& /*context*/, const char* /*payload*/, uint32_t /*length*/) {
    qv_run_shell("wifi reload");
    return 0;
}
