// The verbs that follow the tables of what can be read and set: get and set.
#ifndef QVCTL_COMMAND_LINE_SETTINGS_H
#define QVCTL_COMMAND_LINE_SETTINGS_H

#include "command_line.h"

namespace qvctl {

void add_get(CommandLine& line);
void add_set(CommandLine& line);

} // namespace qvctl

#endif
