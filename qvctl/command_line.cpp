#include "command_line.h"

#include "command_line_settings.h"
#include "help_format.h"
#include "protocol/commands.h"
#include "words.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace qvctl {

namespace {

constexpr const char* FOOTER =
    "Exit status: 0 answered, or sent where the device confirms nothing; 1 refused before it was "
    "sent, not taken over by the device, or failed; 2 the invocation cannot be understood; 3 no "
    "device, or no answer in time; 4 sent, but no report tells whether it was carried out.";

std::string device_digits(std::string& text) {
    const std::string device = normal_device(text);
    const std::string typed = text;
    text = device;
    return device.empty() ? typed + " is no MAC address as 02:11:22:33:44:55, nor its last digits"
                          : "";
}

std::string lower_case_md5(std::string& text) {
    text = lower_case(text);
    return text.size() == 32 && is_hexadecimal(text)
               ? ""
               : text + " is no MD5 sum of 32 hexadecimal digits";
}

void add_flashing_flags(CLI::App& verb, Arguments& arguments) {
    verb.add_flag("--discard-config", arguments.discard_config,
                  "Let the device lose its configuration, its broker's address too");
    verb.add_flag("--reboot", arguments.reboot, "Restart the device after updata_rootfs.sh");
    verb.add_flag("--wait-back,!--no-wait-back", arguments.wait_back,
                  "Wait until a device that restarts is back with another firmware name (the "
                  "default)");
}

std::string at_most(size_t bytes) {
    return "At most " + std::to_string(bytes) + " bytes";
}

void add_text(CLI::App& verb, Arguments& arguments, const char* name, const std::string& help,
              bool required) {
    verb.add_option(name, arguments.text, help)->required(required);
}

void define_upgrade(CLI::App& verb, Arguments& arguments) {
    verb.add_option("IMAGE", arguments.image,
                    "Name of the image on the download server; without --md5 a local file, whose "
                    "name and MD5 sum are taken");
    verb.add_option("--md5", arguments.md5sum, "MD5 sum of the image, that of a local file else")
        ->transform(CLI::Validator(lower_case_md5, ""))
        ->type_name("SUM");
    verb.add_option("--serve", arguments.served,
                    "Be the download server, of this file; only where the broker runs on this "
                    "host, which is where devices download from")
        ->type_name("FILE");
    verb.add_option("--server-port", arguments.server_port,
                    "Port of the download server, which is the device's broker host (80; with "
                    "--serve any that is free)")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535));
    verb.add_flag("--background", arguments.background,
                  "Beside the device's other work, which discards commands meanwhile");
    add_flashing_flags(verb, arguments);
}

void define_watch(CLI::App& verb, Arguments& arguments) {
    verb.add_option("-n,--count", arguments.count, "End after that many reports")
        ->type_name("COUNT")
        ->check(CLI::PositiveNumber);
    verb.add_flag("-a,--all", arguments.all, "Show what each report holds");
}

void define_top(CLI::App& verb, Arguments& arguments) {
    verb.add_option("-n,--count", arguments.count, "End after that many screens")
        ->type_name("COUNT")
        ->check(CLI::PositiveNumber);
    verb.add_option("-i,--interval", arguments.interval, "Seconds between two questions")
        ->type_name("SECONDS")
        ->check(CLI::Range(1.0, 3600.0))
        ->capture_default_str();
}

struct Verb {
    const char* name;
    const char* help;
    ExitStatus (*run)(const Options& options, const Arguments& arguments);
    void (*define)(CLI::App& verb, Arguments& arguments) = nullptr;
};

constexpr Verb VERBS[] = {
    {"devices", "List the devices that announce themselves or report", list_devices},
    {"clock", "Set the device's clock; sent, not confirmed", set_clock,
     [](CLI::App& verb, Arguments& arguments) {
         add_text(verb, arguments, "TIME",
                  "\"YYYY-MM-DD HH:MM:SS\" local, with Z behind it UTC, or @SECONDS since 1970; "
                  "now when it is missing",
                  false);
     }},
    {"password",
     "Set the password of admin, asked for without echo or read from standard input; sent, not "
     "confirmed",
     set_password},
    {"notes", "Set the equipment notes; sent, not confirmed", set_notes,
     [](CLI::App& verb, Arguments& arguments) {
         add_text(verb, arguments, "TEXT", at_most(EQUIPMENT_NOTES_MAX), true);
     }},
    {"wifi-reload", "Reload wifi; sent, not confirmed", reload_wifi},
    {"passthrough", "Hand a text to the wifi manager; sent, not confirmed", pass_through,
     [](CLI::App& verb, Arguments& arguments) {
         add_text(verb, arguments, "TEXT", at_most(GENERAL_DATA_MAX), true);
     }},
    {"upgrade", "Upgrade the firmware and show how far it is", upgrade, define_upgrade},
    {"flash", "Flash the image that an earlier upgrade left on the device", flash,
     add_flashing_flags},
    {"watch", "Show reports as they come", watch, define_watch},
    {"top",
     "Show devices, radios and stations on one screen; asks them, which ends announcements. Takes "
     "load as percent, uptime as seconds and signals as dBm, whatever the wifi manager means",
     top, define_top},
};

/// As the mosquitto clients name them.
void add_broker_options(CLI::App& app, Options& options) {
    app.add_option("-h,--host", options.host, "Host of the broker")
        ->type_name("HOST")
        ->envname("QVCTL_HOST")
        ->capture_default_str();
    app.add_option("-p,--port", options.port, "Port of the broker (1883, with --cafile 8883)")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535))
        ->envname("QVCTL_PORT");
    struct Text {
        const char* names;
        std::string& value;
        const char* type;
        const char* variable;
        const char* help;
    };
    const Text texts[] = {
        {"-u,--username", options.username, "NAME", "QVCTL_USERNAME", "Name that the broker knows"},
        {"-P,--pw", options.password, "PASSWORD", "QVCTL_PASSWORD",
         "Its password, for all of this host to see; better in a file"},
        {"--password-file", options.password_file, "FILE", "QVCTL_PASSWORD_FILE",
         "File whose first line is the password"},
        {"--cafile", options.cafile, "FILE", "QVCTL_CAFILE",
         "Talk TLS to a broker whose certificate is of an authority in this PEM file"},
        {"--cert", options.cert, "FILE", "QVCTL_CERT", "Own certificate, a PEM file"},
        {"--key", options.key, "FILE", "QVCTL_KEY", "Its key, a PEM file"},
    };
    for (const Text& text : texts) {
        app.add_option(text.names, text.value, text.help)
            ->type_name(text.type)
            ->envname(text.variable);
    }
    app.add_flag("--insecure", options.insecure,
                 "Let the broker's certificate name another host than this one");
}

void add_global_options(CommandLine& line) {
    CLI::App& app = line.app;
    Options& options = line.options;
    const CLI::Range duration(0.001, 86400.0, "SECONDS");
    add_broker_options(app, options);
    app.add_option("-d,--device", options.device,
                   "MAC address of the device in any notation, or the digits that only its own "
                   "ends in; the only one that speaks when it is missing")
        ->transform(CLI::Validator(device_digits, ""))
        ->type_name("MAC")
        ->envname("QVCTL_DEVICE");
    app.add_option(
           "--timeout", options.timeout,
           "Seconds until the broker and then an answer must be there. It takes the place of "
           "--listen for devices, counts from the last status for upgrade and flash, and ends "
           "watch; "
           "set lan and set wan may wait 30 s more for a new session of the device, and then for "
           "--confirm seconds")
        ->type_name("SECONDS")
        ->check(duration);
    app.add_option("--listen", options.listen,
                   "Seconds in which every device must have spoken; a device that runs reports "
                   "every ten seconds, but not while it upgrades: -d names it then")
        ->type_name("SECONDS")
        ->check(duration)
        ->capture_default_str();
    app.add_flag("--json", options.json, "Print reports as JSON, one line each");
    app.add_flag("--show-secrets", options.show_secrets,
                 "Print keys, passphrases and passwords, which are hidden else");
    app.add_flag("--no-color", options.no_color, "Print without colours");
    app.add_option("--generate", line.generated, "")
        ->check(CLI::IsMember({"bash-completion", "man"}))
        ->configurable(false)
        ->group("");
}

/// "help get stations" for "get stations --help".
void add_help(CommandLine& line) {
    CLI::App* const help = line.app.add_subcommand("help", "Print the help of a verb");
    help->add_option("VERB", line.arguments.settings, "The verb, and what it gets or sets")
        ->type_name("");
    help->callback([&line] {
        line.run = [&line] {
            const CLI::App* verb = &line.app;
            std::string name = verb->get_name();
            for (const std::string& word : line.arguments.settings) {
                const auto parts = verb->get_subcommands([](const CLI::App*) { return true; });
                const auto found = std::ranges::find(parts, word, &CLI::App::get_name);
                if (found == parts.end()) {
                    throw Failure(USAGE, "help: " + word + " is unknown");
                }
                verb = *found;
                name += " " + word;
            }
            // App::help would be that of the verb "help", which is the one that was found.
            const auto formatter = verb->get_formatter();
            fputs(formatter->make_help(verb, name, CLI::AppFormatMode::Normal).c_str(), stdout);
            return ANSWERED;
        };
    });
}

/// Of all parts, also of those that are not listed.
std::string nearest_part(const CLI::App& verb, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::App* const part : verb.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(part->get_name());
    }
    const std::string nearest = nearest_word(word, names);
    return nearest.empty() ? "" : "the nearest is " + nearest + ", and ";
}

/// What is wrong with the invocation; a word that is missing or unknown is told by those known.
std::string failure_text(const CLI::App* app, const CLI::Error& error) {
    const CLI::App* verb = app;
    while (!verb->get_subcommands().empty()) {
        verb = verb->get_subcommands().front();
    }
    const std::vector<const CLI::App*> parts = verbs_of(*verb);
    const std::vector<std::string> rest = app->remaining(true);
    const bool is_word = rest.empty() || !rest.front().starts_with('-');
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const bool is_missing =
        code == CLI::ExitCodes::RequiredError || code == CLI::ExitCodes::ExtrasError;
    if (parts.empty() || !is_word || !is_missing) {
        return CLI::FailureMessage::simple(app, error);
    }
    std::string text = verb->get_name() + ": ";
    text += rest.empty() ? "what? One of"
                         : rest.front() + " is unknown; " + nearest_part(*verb, rest.front()) +
                               "it must be one of";
    for (const CLI::App* const part : parts) {
        text += (part == parts.front() ? " " : ", ") + part->get_name();
    }
    return wrapped(text) + "\nRun with --help for more information.\n";
}

} // namespace

std::vector<const CLI::App*> verbs_of(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* verb) { return !verb->get_group().empty(); });
}

CommandLine::CommandLine()
    : app("Talks to access points that run qvagent, through their broker.", "qvctl") {
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("--help", "Print this help and end"); // -h is the host
    app.set_version_flag("-V,--version", "qvctl " QV_VERSION, "Print the version and end");
    app.fallthrough();
    app.failure_message(failure_text);
    app.require_subcommand(0, 1);
    add_global_options(*this);
    add_help(*this);
    add_get(*this);
    add_set(*this);
    for (const Verb& verb : VERBS) {
        CLI::App* const added = app.add_subcommand(verb.name, verb.help);
        if (verb.define != nullptr) {
            verb.define(*added, arguments);
        }
        added->callback(
            [this, &verb] { run = [this, &verb] { return verb.run(options, arguments); }; });
    }
    app.footer(FOOTER); // the verbs, which would inherit it, have ends of their own
}

} // namespace qvctl
