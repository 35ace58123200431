#include "checks.h"
#include "confirm.h"
#include "confirmed_change.h"
#include "dialogue.h"
#include "protocol/system_config_record.h"
#include "report_view.h"
#include "secrets.h"
#include "settings_words.h"
#include "verbs.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace qvctl {

namespace {

/// A device that reads or sets its network settings connects again after up to ten seconds and
/// announces itself two seconds later.
constexpr double RECONNECTION_TIMEOUT = 30;

/// The entry of a reported list that is meant, or the reported object.
json_object* held_settings(const Report& report, const Setting& setting, json_object* given) {
    json_object* const body = report.body();
    if (setting.entry_key == nullptr) {
        return body;
    }
    const std::string name = cell_of(qv_json_member(given, setting.entry_key));
    const size_t count =
        json_object_is_type(body, json_type_array) != 0 ? json_object_array_length(body) : 0;
    for (size_t i = 0; i < count; ++i) {
        json_object* const entry = json_object_array_get_idx(body, i);
        if (cell_of(qv_json_member(entry, setting.entry_key)) == name) {
            return entry;
        }
    }
    throw Failure(REFUSED, std::string("the device reports no ") + setting.name + " " + name);
}

/// Only what a command may name, for a start: reports hold more.
JsonPtr settable(const Setting& setting, json_object* held) {
    JsonPtr settings(json_object_new_object());
    for (const std::string& key : words_of(setting)) {
        if (json_object* const value = qv_json_member(held, key.c_str()); value != nullptr) {
            qv_json_add(settings.get(), key.c_str(), JsonPtr(json_object_get(value)));
        }
    }
    return settings;
}

/// A frequency belongs to its channel: who sets one of them does not mean to keep the other.
void drop_counterpart(json_object* settings, json_object* given) {
    constexpr std::pair<const char*, const char*> COUNTERPARTS[] = {{"channel", "freq"},
                                                                    {"freq", "channel"}};
    for (const auto& [one, other] : COUNTERPARTS) {
        if (qv_json_member(given, one) != nullptr && qv_json_member(given, other) == nullptr) {
            json_object_object_del(settings, other);
        }
    }
}

/// The settings as the device holds them, with those given in their place: the command replaces
/// them as a whole.
JsonPtr merge(Session& session, const std::string& device, const Options& options,
              const Setting& setting, json_object* given) {
    const Report report = ask(session, device, new_command(*setting.read_command).get(),
                              setting.contract().answer, options.timeout_or(ANSWER_TIMEOUT));
    json_object* const held = held_settings(report, setting, given);
    if (json_object_is_type(held, json_type_object) == 0) {
        throw Failure(REFUSED, "the device reports no settings to keep; --replace sends the given "
                               "ones alone");
    }
    if (holds_nothing(held)) { // sent back, that would empty the section
        throw Failure(REFUSED, "the device reports every setting empty, as when its wifi manager "
                               "does not answer; --replace sends the given ones alone");
    }
    JsonPtr merged = settable(setting, held);
    json_object_object_foreach(given, key, value) {
        qv_json_add(merged.get(), key, JsonPtr(json_object_get(value)));
    }
    drop_counterpart(merged.get(), given);
    if (setting.command == COMMAND_SET_SYSTEM &&
        qv_json_member(merged.get(), SYSTEM_SERVER_KEY) == nullptr) {
        fputs("note: the device reports no time servers, also when it has ten; they end\n", stderr);
    }
    if (setting.reading_reconnects) {
        wait_for(session, device, REPORT_TYPE_DEVICE_DISCOVERY, RECONNECTION_TIMEOUT);
    }
    return merged;
}

/// Says what becomes empty where nothing is kept.
void note_replaced(const Setting& setting, json_object* given) {
    std::string names;
    for (const std::string& key : words_of(setting)) {
        if (qv_json_member(given, key.c_str()) == nullptr) {
            names += (names.empty() ? "" : ", ") + key;
        }
    }
    if (!names.empty()) {
        fprintf(stderr, "note: becomes empty: %s\n", names.c_str());
    }
}

void require_entry(const Setting& setting, json_object* settings) {
    if (setting.entry_key != nullptr && qv_json_member(settings, setting.entry_key) == nullptr) {
        throw Failure(USAGE, std::string("set ") + setting.name + ": " + setting.entry_key +
                                 " says which one, and is missing");
    }
}

/// Secrets that were read hidden stay as they are, where anything does.
void refuse_hidden(json_object* given, bool keeps_the_rest) {
    if (keeps_the_rest) {
        drop_hidden(given);
    }
    if (const std::string key = first_hidden(given); !key.empty()) {
        throw Failure(REFUSED, key + ": is \"" + std::string(HIDDEN) +
                                   "\", as get shows it without --show-secrets");
    }
}

void show(const Report& report, const Options& options) {
    const Report shown = printable_report(report, options.show_secrets);
    if (options.json) {
        puts(json_line(shown).c_str());
    } else {
        const Style style = Style::of_output(options);
        print_lines(body_lines(shown, false, style));
        note_left_out(shown, style);
    }
}

} // namespace

ExitStatus set(const Options& options, const Arguments& arguments, const Setting& setting) {
    JsonPtr settings = read_settings(setting, arguments.settings);
    const JsonPtr asked(json_object_get(settings.get()));
    const CommandContract& contract = setting.contract();
    const bool merges = setting.read_command.has_value() && !arguments.replace;
    refuse_hidden(asked.get(), merges);
    check_members("", asked.get(), *contract.fields);
    if (setting.check != nullptr) {
        setting.check(asked.get());
    }
    require_entry(setting, asked.get());

    const bool confirms = contract.takes_confirm && arguments.confirm_s != 0;
    // The way to the device may be the one to the broker, too.
    Session session(options, confirms ? OnLoss::reconnect : OnLoss::fail);
    const std::string device = choose_device(session, options);
    if (merges) {
        settings = merge(session, device, options, setting, asked.get());
    } else if (setting.read_command.has_value()) {
        note_replaced(setting, asked.get());
    }
    if (confirms) {
        ConfirmedChange change(session, device, setting, arguments.confirm_s);
        show(change.make(std::move(settings)), options);
        const Report held = change.confirm();
        const ExitStatus status = confirm(setting, asked.get(), std::span(&held, 1), options);
        if (status == ANSWERED) {
            fputs("confirmed\n", options.json ? stderr : stdout);
        }
        return status;
    }
    const double seconds = options.timeout_or(ANSWER_TIMEOUT);
    const JsonPtr command = new_command(arguments.remove ? COMMAND_DELETE_MACLIST : setting.command,
                                        std::move(settings));
    std::vector<Report> reports;
    if (contract.answer == REPORT_TYPE_NONE) {
        send_only(session, device, options, command.get());
    } else {
        reports.push_back(ask(session, device, command.get(), contract.answer, seconds));
        show(reports.front(), options);
        held_settings(reports.front(), setting, asked.get());
    }
    if (setting.confirm_command.has_value()) {
        reports.push_back(ask(session, device, new_command(*setting.confirm_command).get(),
                              REPORT_TYPE_UCI_VAP_LIST, seconds));
    }
    return confirm(setting, asked.get(), reports, options);
}

} // namespace qvctl
