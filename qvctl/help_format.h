// How help looks: as CLI11 makes it, in the columns that every terminal has.
#ifndef QVCTL_HELP_FORMAT_H
#define QVCTL_HELP_FORMAT_H

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

namespace qvctl {

/// A name and, from a column that all of them share, what is said of it: as CLI11 sets options.
std::string help_line(std::string_view name, std::string_view meaning);

/// Lines of more than 80 columns broken between words; what is said of a name stays in its column.
std::string wrapped(std::string_view text);

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
    std::string make_description(const CLI::App* app) const override;
    std::string make_option_name(const CLI::Option* option, bool is_positional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
};

} // namespace qvctl

#endif
