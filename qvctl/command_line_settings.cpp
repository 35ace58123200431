#include "command_line_settings.h"

#include "help_format.h"
#include "json/json_scope.h"
#include "words.h"

#include <algorithm>
#include <cstdio>

namespace qvctl {

namespace {

std::string only_digits(std::string& text) {
    return is_digits(text) ? "" : text + " is no number of digits only";
}

/// The keys that can be set.
std::vector<SettingKey> settable_keys(const Setting& setting) {
    std::vector<SettingKey> keys = keys_of(setting);
    std::erase_if(keys, [](const SettingKey& key) { return key.use == SettingKey::Use::reported; });
    return keys;
}

/// A line for each key: what it takes, and what it means.
std::string keys_text(const Setting& setting) {
    std::string text;
    for (const SettingKey& key : settable_keys(setting)) {
        text += help_line(key.name, key.limit + (key.meaning.empty() ? "" : ". " + key.meaning));
        text += '\n';
    }
    return text;
}

JsonPtr keys_json(const Setting& setting) {
    JsonPtr list(json_object_new_array());
    for (const SettingKey& key : settable_keys(setting)) {
        JsonPtr entry(json_object_new_object());
        const auto add = [&entry](const char* name, const std::string& text) {
            qv_json_add(entry.get(), name, JsonPtr(json_object_new_string(text.c_str())));
        };
        add("key", key.name);
        add("limit", key.limit);
        add("meaning", key.meaning);
        qv_json_append(list.get(), std::move(entry));
    }
    return list;
}

ExitStatus list_keys(const Options& options, const Setting& setting) {
    if (options.json) {
        puts(json_object_to_json_string_ext(keys_json(setting).get(), JSON_C_TO_STRING_PLAIN));
    } else {
        fputs(wrapped(keys_text(setting)).c_str(), stdout);
    }
    return ANSWERED;
}

void add_get_keys(CommandLine& line, CLI::App& get_verb) {
    CLI::App* const keys =
        get_verb.add_subcommand("keys", "Keys of settings: what they take and mean");
    std::vector<std::string> names;
    for (const Setting& setting : settings()) {
        names.emplace_back(setting.name);
    }
    line.words[keys] = names;
    keys->add_option("SETTINGS", line.arguments.text, "What is set")
        ->required()
        ->check(CLI::IsMember(names))
        ->type_name("");
    keys->callback([&line] {
        line.run = [&line] {
            return list_keys(line.options,
                             *std::ranges::find(settings(), line.arguments.text, &Setting::name));
        };
    });
}

void add_settings_words(CLI::App& what, CommandLine& line, const Setting& setting) {
    const std::string entry = setting.entry_key == nullptr ? "" : "NAME|";
    what.add_option(entry + "FILE|KEY=VALUE", line.arguments.settings,
                    "A file with a JSON object (- is standard input), as get --json prints it, or "
                    "members and their values; lists (radio_list, vap_list) as JSON, server also "
                    "as a,b" +
                        std::string(entry.empty() ? "" : "; before them the entry's name"))
        ->required()
        ->type_name("");
    if (setting.read_command.has_value()) {
        what.add_flag("--replace", line.arguments.replace,
                      "Empty the members that are not named instead of keeping what the device "
                      "holds");
    }
    if (setting.contract().takes_confirm) {
        CLI::Option* const seconds =
            what.add_option("--confirm", line.arguments.confirm_s,
                            "Seconds after which the device takes the change back unless it is "
                            "back by then and answers")
                ->type_name("SECONDS")
                ->check(CLI::Range(int{CONFIRM_MIN}, int{CONFIRM_MAX}))
                ->capture_default_str();
        what.add_flag_callback(
                "--no-confirm", [&line] { line.arguments.confirm_s = 0; },
                "Make the change whatever becomes of the device")
            ->excludes(seconds);
    }
    if (setting.command == COMMAND_SET_MACLIST) {
        what.add_flag("--delete", line.arguments.remove,
                      "Delete the lists that wifi0Flag=1 and wifi1Flag=1 name from the "
                      "configuration store");
    }
    what.footer("Keys:\n" + keys_text(setting));
    line.words[&what] = words_of(setting);
    for (std::string& word : line.words[&what]) {
        word += "=";
    }
}

/// "set hostname Garden" for "set settings hostname=Garden".
void add_system_word(CommandLine& line, CLI::App& set_verb, const Setting& setting,
                     const std::string& word) {
    CLI::App* const what = set_verb.add_subcommand(word, "As set settings " + word + "=VALUE");
    what->group(""); // there are many
    what->add_option("VALUE", line.arguments.text, "The new value")->required()->type_name("");
    what->callback([&line, &setting, word] {
        line.arguments.settings = {word + "=" + line.arguments.text};
        line.run = [&line, &setting] { return set(line.options, line.arguments, setting); };
    });
}

} // namespace

void add_get(CommandLine& line) {
    CLI::App* const get_verb = line.app.add_subcommand("get", "Ask for a report and show it");
    get_verb->require_subcommand(1);
    for (const Reading& reading : readings()) {
        CLI::App* const what = get_verb->add_subcommand(reading.name, reading.help);
        if (reading.contract().text_max > 0) {
            what->add_option("INDEX", line.arguments.text, "Index of the wifi interface, usually 0")
                ->check(CLI::Validator(only_digits, ""));
        }
        if (reading.has_entries) {
            what->add_flag("-a,--all", line.arguments.all, "Show every member of a list's entries");
        }
        what->callback([&line, &reading] {
            line.run = [&line, &reading] { return get(line.options, line.arguments, reading); };
        });
    }
    add_get_keys(line, *get_verb);
}

void add_set(CommandLine& line) {
    CLI::App* const set_verb = line.app.add_subcommand(
        "set", "Change settings, and check in the device's reports that they were taken over; a "
               "system setting also as in \"set hostname Garden\"");
    set_verb->require_subcommand(1);
    for (const Setting& setting : settings()) {
        CLI::App* const what = set_verb->add_subcommand(setting.name, setting.help);
        add_settings_words(*what, line, setting);
        what->callback([&line, &setting] {
            line.run = [&line, &setting] { return set(line.options, line.arguments, setting); };
        });
        if (setting.command == COMMAND_SET_SYSTEM) {
            for (const std::string& word : words_of(setting)) {
                add_system_word(line, *set_verb, setting, word);
            }
        }
    }
}

} // namespace qvctl
