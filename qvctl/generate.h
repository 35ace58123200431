// The manual page and the shell's completion, made from the definition of the command line.
#ifndef QVCTL_GENERATE_H
#define QVCTL_GENERATE_H

#include "command_line.h"

#include <string>

namespace qvctl {

std::string man_page(const CommandLine& line);
std::string bash_completion(const CommandLine& line);

} // namespace qvctl

#endif
