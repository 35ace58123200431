#include "checks.h"
#include "dialogue.h"
#include "protocol/system_config_record.h"
#include "report_view.h"
#include "settings_words.h"
#include "verbs.h"

#include <cstdio>
#include <string_view>

namespace qvctl {

namespace {

/// A device that reads or sets its network settings connects again after up to ten seconds and
/// announces itself two seconds later.
constexpr double RECONNECTION_TIMEOUT = 30;

/// A device whose wifi manager has not answered reports every text empty. Sent back, that would
/// empty the section.
bool holds_nothing(json_object* settings) {
    json_object_object_foreach(settings, key, value) {
        (void)key;
        if (!cell_of(value).empty()) {
            return false;
        }
    }
    return true;
}

/// The settings as the device holds them, with those given in their place: the command replaces
/// the section as a whole.
JsonPtr merge(Session& session, const std::string& device, const Options& options,
              const Setting& setting, JsonPtr given) {
    const Report report = ask(session, device, new_command(setting.read_command).get(),
                              setting.report, options.timeout_or(ANSWER_TIMEOUT));
    JsonPtr merged(json_object_get(report.body()));
    if (json_object_is_type(merged.get(), json_type_object) == 0) {
        throw Failure(REFUSED, "the device reports no settings to keep; --replace sends the given "
                               "ones alone");
    }
    if (holds_nothing(merged.get())) {
        throw Failure(REFUSED, "the device reports every setting empty, as when its wifi manager "
                               "does not answer; --replace sends the given ones alone");
    }
    json_object_object_foreach(given.get(), key, value) {
        qv_json_add(merged.get(), key, JsonPtr(json_object_get(value)));
    }
    if (setting.report == REPORT_TYPE_UCI_SYSTEM &&
        qv_json_member(merged.get(), SYSTEM_SERVER_KEY) == nullptr) {
        fputs("note: the device reports no time servers, also when it has ten; they end\n", stderr);
    }
    if (setting.reading_reconnects) {
        wait_for(session, device, REPORT_TYPE_DEVICE_DISCOVERY, RECONNECTION_TIMEOUT);
    }
    return merged;
}

/// The entry of a reported list that was set, or the reported object.
json_object* held_settings(const Report& report, const Setting& setting, json_object* sent) {
    json_object* const body = report.body();
    if (setting.entry_key == nullptr) {
        return body;
    }
    const std::string name = cell_of(qv_json_member(sent, setting.entry_key));
    const size_t count =
        json_object_is_type(body, json_type_array) != 0 ? json_object_array_length(body) : 0;
    for (size_t i = 0; i < count; ++i) {
        json_object* const entry = json_object_array_get_idx(body, i);
        if (cell_of(qv_json_member(entry, setting.entry_key)) == name) {
            return entry;
        }
    }
    return nullptr;
}

/// Whether a value sent and one reported can be told apart: names of channels and countries come
/// back as numbers, and what an empty text of an entry does is the wifi manager's to decide.
bool is_comparable(const Setting& setting, const std::string& sent, json_object* held) {
    if (held == nullptr || (setting.entry_key != nullptr && sent.empty())) {
        return false;
    }
    return json_object_is_type(held, json_type_int) == 0 ||
           (!sent.empty() && sent.find_first_not_of("0123456789") == sent.npos);
}

/// Says what the device holds otherwise than it was sent. Returns whether nothing was.
bool taken_over(const Report& report, const Setting& setting, json_object* sent) {
    json_object* const held = held_settings(report, setting, sent);
    if (held == nullptr) {
        fprintf(stderr, "qvctl: the device reports no %s %s\n", setting.name,
                cell_of(qv_json_member(sent, setting.entry_key)).c_str());
        return false;
    }
    bool all = true;
    json_object_object_foreach(sent, key, value) {
        json_object* const now = qv_json_member(held, key);
        const std::string asked = cell_of(value);
        if (is_comparable(setting, asked, now) && cell_of(now) != asked) {
            fprintf(stderr,
                    "qvctl: not taken over: %s: asked for \"%s\", the device holds \"%s\"\n", key,
                    asked.c_str(), cell_of(now).c_str());
            all = false;
        }
    }
    return all;
}

void require_entry(const Setting& setting, json_object* settings) {
    if (setting.entry_key != nullptr && qv_json_member(settings, setting.entry_key) == nullptr) {
        throw Failure(USAGE, std::string("set ") + setting.name + ": " + setting.entry_key +
                                 " says which one, and is missing");
    }
}

} // namespace

ExitStatus set(const Options& options, const Arguments& arguments, const Setting& setting) {
    GivenSettings given = read_settings(setting, arguments.settings);
    setting.check(given.object.get());
    require_entry(setting, given.object.get());
    const int type = arguments.remove ? static_cast<int>(COMMAND_DELETE_MACLIST) : setting.command;
    if (setting.report == REPORT_TYPE_NONE) {
        return send_only(options,
                         new_command(type, new_object(setting.key, std::move(given.object))).get());
    }

    Session session(options);
    const std::string device = choose_device(session, options);
    const JsonPtr asked(json_object_get(given.object.get()));
    const bool whole = given.from_file || arguments.replace || setting.read_command == 0;
    JsonPtr settings = whole ? std::move(given.object)
                             : merge(session, device, options, setting, std::move(given.object));
    const JsonPtr command = new_command(type, new_object(setting.key, std::move(settings)));
    const Report report =
        ask(session, device, command.get(), setting.report, options.timeout_or(ANSWER_TIMEOUT));
    if (options.json) {
        puts(json_line(report).c_str());
    } else {
        print_lines(body_lines(report, false, Style::of_output(options)));
    }
    return taken_over(report, setting, asked.get()) ? ANSWERED : REFUSED;
}

} // namespace qvctl
