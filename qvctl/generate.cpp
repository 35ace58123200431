#include "generate.h"

#include "help_format.h"

#include <set>

namespace qvctl {

namespace {

/// Every verb has its help, which is said once, with the program's own options.
bool is_shown(const CLI::App& app, const CLI::Option& option) {
    return !option.get_group().empty() &&
           (app.get_parent() == nullptr || &option != app.get_help_ptr());
}

bool takes_value(const CLI::Option& option) {
    return option.get_expected_max() > 0 && option.get_type_size() > 0;
}

/// Option words as they are typed: "-h", "--host".
std::vector<std::string> names_of(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

// --- Manual page ---

std::string roff(const std::string& text) {
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        switch (character) {
        case '\\': escaped += "\\e"; break;
        case '-': escaped += "\\-"; break;
        default: escaped += character;
        }
    }
    return escaped;
}

std::string roff_options(const CLI::App& app, bool positional) {
    std::string text;
    for (const CLI::Option* const option : app.get_options()) {
        if (!is_shown(app, *option) || option->get_positional() != positional) {
            continue;
        }
        std::string heading;
        if (positional) {
            heading = "\\fI" + roff(option->get_name(true)) + "\\fR";
        }
        for (const std::string& name : names_of(*option)) {
            heading += (heading.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
        }
        if (!positional && takes_value(*option)) {
            // Behind the colon stands what the value is checked for.
            const std::string type = option->get_type_name();
            heading += " \\fI" + roff(type.substr(0, type.find(':'))) + "\\fR";
        }
        text += ".TP\n" + heading + "\n" + roff(option->get_description());
        if (!option->get_default_str().empty()) {
            text += " (" + roff(option->get_default_str()) + ")";
        }
        text += "\n";
    }
    return text;
}

std::string roff_verb(const CommandLine& line, const CLI::App& verb, const std::string& before) {
    const std::string name = before + verb.get_name();
    std::string text;
    const std::vector<const CLI::App*> parts = verbs_of(verb);
    if (parts.empty()) {
        text += ".SS " + roff(name) + "\n" + roff(verb.get_description()) + ".\n";
        text += roff_options(verb, true);
        text += roff_options(verb, false);
        if (const std::string keys = verb.get_footer(); !keys.empty()) {
            text += ".PP\n.nf\n" + roff(wrapped(keys)) + ".fi\n";
        }
    }
    for (const CLI::App* const part : parts) {
        text += roff_verb(line, *part, name + " ");
    }
    return text;
}

std::string roff_variables(const CLI::App& app) {
    std::string text = ".SH ENVIRONMENT\n";
    for (const CLI::Option* const option : app.get_options()) {
        if (!option->get_envname().empty()) {
            text += ".TP\n.B " + roff(option->get_envname()) + "\nFor " +
                    roff(names_of(*option).back()) + ", when it is not given.\n";
        }
    }
    return text;
}

constexpr const char* END_OF_MAN_PAGE = R"(.TP
.B NO_COLOR
No colours when it is not empty.
.TP
.B TERM
No colours when it is "dumb".
.TP
.BR LC_ALL ", " LC_CTYPE ", " LANG
The first that is not empty says whether bars and curves are drawn in UTF\-8 or in ASCII.
.SH FILES
.TP
.I $XDG_CONFIG_HOME/qvctl
Or ~/.config/qvctl: options that are given neither on the command line nor by the environment, one
a line with its value behind a blank. A line that begins with # is a comment.
.SH EXAMPLES
.nf
qvctl devices
qvctl \-d 02:11:22:33:44:55 get stations
qvctl \-d 02:11:22:33:44:55 set settings hostname=Garden
qvctl \-d 02:11:22:33:44:55 \-\-json get lan > lan.json
qvctl \-d 02:11:22:33:44:55 set lan lan.json
qvctl \-d 02:11:22:33:44:55 upgrade image.img \-\-background
.fi
)";

// --- Completion ---

/// Pieces of the completion's text, gathered over all verbs.
struct Completion {
    std::string branches;         ///< what may follow each verb
    std::string paths;            ///< patterns of the verbs, with a blank before each word
    std::set<std::string> valued; ///< options that a value follows
};

std::string option_words(const CLI::App& app, Completion& completion) {
    std::string words;
    for (const CLI::Option* const option : app.get_options()) {
        if (!is_shown(app, *option)) {
            continue;
        }
        for (const std::string& name : names_of(*option)) {
            words += " " + name;
            if (takes_value(*option)) {
                completion.valued.insert(name);
            }
        }
    }
    return words;
}

void add_branches(const CommandLine& line, const CLI::App& app, const std::string& path,
                  Completion& completion) {
    std::string words;
    for (const CLI::App* const verb : verbs_of(app)) {
        words += " " + verb->get_name();
    }
    words += option_words(app, completion);
    if (const auto keys = line.words.find(&app); keys != line.words.end()) {
        for (const std::string& key : keys->second) {
            words += " " + key;
        }
    }
    completion.branches += "    '" + path + "') words='" + words + "' ;;\n";
    for (const CLI::App* const verb : verbs_of(app)) {
        const std::string below = path + " " + verb->get_name();
        completion.paths += (completion.paths.empty() ? "'" : " | '") + below + "'";
        add_branches(line, *verb, below, completion);
    }
}

std::string joined(const std::set<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " | ") + word;
    }
    return text;
}

constexpr const char* COMPLETION = R"(# bash completion of qvctl, generated from its command line
_qvctl() {
    local word words verb='' before=''
    local current=${COMP_WORDS[COMP_CWORD]}
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $before in
        @VALUED@) before='' && continue ;;
        esac
        before=$word
        case "$verb $word" in
        @PATHS@) verb+=" $word" ;;
        esac
    done
    case $before in
    @VALUED@) return ;;
    esac
    case $verb in
@BRANCHES@    esac
    [[ -z $verb ]] || words+='@GLOBAL@'
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    if [[ $verb == ' set '* && $current != -* ]]; then
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$current")
    fi
    [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace
}
complete -F _qvctl qvctl
)";

void fill_in(std::string& text, const std::string& mark, const std::string& value) {
    for (size_t at = 0; (at = text.find(mark, at)) != text.npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
}

} // namespace

std::string man_page(const CommandLine& line) {
    std::string text = ".TH QVCTL 1 \"" QV_DATE "\" \"qvctl " QV_VERSION
                       "\" \"User Commands\"\n.SH NAME\n"
                       "qvctl \\- " +
                       roff("controller of access points that run qvagent") +
                       "\n.SH SYNOPSIS\n.B qvctl\n[\\fIOPTION\\fR]... \\fIVERB\\fR "
                       "[\\fIARGUMENT\\fR]...\n.SH DESCRIPTION\n" +
                       roff(line.app.get_description()) + "\n.SH OPTIONS\n" +
                       roff_options(line.app, false) + ".SH VERBS\n";
    for (const CLI::App* const verb : verbs_of(line.app)) {
        text += roff_verb(line, *verb, "");
    }
    const std::string footer = line.app.get_footer(); // in the help, with a heading of its own
    text += ".SH EXIT STATUS\n" + roff(footer.substr(footer.find(": ") + 2)) + "\n";
    return text + roff_variables(line.app) + END_OF_MAN_PAGE;
}

std::string bash_completion(const CommandLine& line) {
    Completion completion;
    add_branches(line, line.app, "", completion);
    std::string text = COMPLETION;
    fill_in(text, "@VALUED@", joined(completion.valued));
    fill_in(text, "@PATHS@", completion.paths);
    fill_in(text, "@BRANCHES@", completion.branches);
    fill_in(text, "@GLOBAL@", option_words(line.app, completion));
    return text;
}

} // namespace qvctl
