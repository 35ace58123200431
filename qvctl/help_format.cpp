#include "help_format.h"

#include <algorithm>

namespace qvctl {

namespace {

constexpr size_t COLUMNS = 80;
constexpr size_t MEANING_COLUMN = 30;

/// The line in pieces. The ones behind the first begin where the meaning of a name does.
std::string wrapped_line(std::string_view line) {
    const std::string indent(line.starts_with("  ") ? MEANING_COLUMN : 0, ' ');
    std::string text;
    size_t room = COLUMNS;
    for (size_t blank = 0; line.size() > room; line.remove_prefix(blank + 1)) {
        blank = line.rfind(' ', room);
        if (blank == line.npos || line.find_first_not_of(' ') > blank) {
            break; // a word that is wider
        }
        text.append(line.substr(0, blank)).append("\n").append(indent);
        room = COLUMNS - indent.size();
    }
    return text.append(line);
}

} // namespace

std::string help_line(std::string_view name, std::string_view meaning) {
    std::string line = "  " + std::string(name) + " ";
    line.resize(std::max(line.size(), MEANING_COLUMN), ' ');
    return line.append(meaning);
}

std::string wrapped(std::string_view text) {
    std::string lines;
    while (true) {
        const size_t end = text.find('\n');
        lines += wrapped_line(text.substr(0, end));
        if (end == text.npos) {
            return lines;
        }
        lines += '\n';
        text.remove_prefix(end + 1);
    }
}

HelpFormatter::HelpFormatter() {
    column_width(MEANING_COLUMN);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
    return wrapped(CLI::Formatter::make_help(app, std::move(name), mode));
}

/// Without the library's remark on how many subcommands there may be.
std::string HelpFormatter::make_description(const CLI::App* app) const {
    return app->get_description() + "\n";
}

/// Without the library's mark of a name that says no.
std::string HelpFormatter::make_option_name(const CLI::Option* option, bool is_positional) const {
    const std::string name = CLI::Formatter::make_option_name(option, is_positional);
    return name.substr(0, name.find("{false}"));
}

/// Type, default and variable, without what the value is checked for, which stands behind a colon.
std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    const std::string type = option->get_positional() ? "" : option->get_type_name();
    std::string text = type.empty() ? "" : " " + type.substr(0, type.find(':'));
    if (!option->get_default_str().empty()) {
        text += "=" + option->get_default_str();
    }
    return option->get_envname().empty() ? text : text + " ($" + option->get_envname() + ")";
}

} // namespace qvctl
