// Options that hold for every invocation.
#ifndef QVCTL_CONFIGURATION_H
#define QVCTL_CONFIGURATION_H

#include <CLI/CLI.hpp>

namespace qvctl {

/// Takes defaults of the options from $XDG_CONFIG_HOME/qvctl (~/.config/qvctl) if it is there: one
/// option a line with its value behind a blank, as the mosquitto clients have it, and comments
/// behind "#". Throws Failure when a line is none. Before parsing, so that environment and command
/// line go before it.
void read_configuration(CLI::App& app);

} // namespace qvctl

#endif
