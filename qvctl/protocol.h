// What qvctl knows of the protocol: which command asks for what, which report answers it, and
// which members its settings have. Everything else walks these tables.
#ifndef QVCTL_PROTOCOL_H
#define QVCTL_PROTOCOL_H

#include "json/json_scope.h"
#include "protocol/commands.h"
#include "protocol/reports.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvctl {

/// A report: its name and, for a wide list, the members that find room on a line.
struct ReportKind {
    int type;
    const char* name;
    std::span<const char* const> columns = {};
};
/// The row of that type, or none.
const ReportKind* find_report_kind(int type);

/// Something to get.
struct Reading {
    const char* name;
    const char* help;
    CommandType command;
    bool has_entries = false; ///< a list, whose entries may be shown in full
    /// Members that stand for the entries sharing the first of them, when that is what is shown.
    std::span<const char* const> distinct = {};

    [[nodiscard]] const CommandContract& contract() const {
        return qv_command_contract(command);
    }
};
std::span<const Reading> readings();

/// Something to set.
struct Setting {
    const char* name;
    const char* help;
    CommandType command;
    /// Command that reads them, for settings that a command replaces as a whole.
    std::optional<CommandType> read_command = {};
    /// Command that brings the VAP list, where that tells what the answer does not.
    std::optional<CommandType> confirm_command = {};
    /// Member that says which entry of a list is meant.
    const char* entry_key = nullptr;
    /// The device connects to the broker again after read_command.
    bool reading_reconnects = false;
    /// Throws Failure for what the device could not hold, though the rows would.
    void (*check)(json_object* settings) = nullptr;

    [[nodiscard]] const CommandContract& contract() const {
        return qv_command_contract(command);
    }
};
std::span<const Setting> settings();

/// A member of settings.
struct SettingKey {
    std::string name; ///< with the lists that it lies in, as in "radio_list[].ssid"
    std::string limit;
    enum class Use {
        word,     ///< key=value may name it
        nested,   ///< only a list's JSON does
        reported, ///< reports name it, and commands do not
    } use = Use::word;
    std::string meaning = {}; ///< as the contract words it; none where the name says all
};
/// The keys of a list of one entry stand beside the others.
std::vector<SettingKey> keys_of(const Setting& setting);

/// Names of the keys that key=value may name.
std::vector<std::string> words_of(const Setting& setting);

/// Puts key and value where they belong.
void put(const Setting& setting, json_object* settings, const std::string& key, JsonPtr value);

/// Status of a firmware job in words. What is below 0 means another thing after a flash than after
/// an upgrade.
std::string upgrade_status_text(int status, CommandType job = COMMAND_FW_UPGRADE);

} // namespace qvctl

#endif
