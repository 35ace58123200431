// The command line: every verb with its arguments, defined once for the program, its help, its
// manual page and the shell's completion.
#ifndef QVCTL_COMMAND_LINE_H
#define QVCTL_COMMAND_LINE_H

#include "options.h"
#include "verbs.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qvctl {

struct CommandLine {
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    CLI::App app;
    Options options;
    Arguments arguments;
    std::string generated; ///< what to generate, instead of a verb
    std::function<ExitStatus()> run;
    /// Words that a verb's arguments may begin with.
    std::map<const CLI::App*, std::vector<std::string>> words;
};

/// The listed verbs of the program, or parts of a verb.
std::vector<const CLI::App*> verbs_of(const CLI::App& app);

} // namespace qvctl

#endif
