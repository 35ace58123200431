// Whole files as texts.
#ifndef QVCTL_FILE_H
#define QVCTL_FILE_H

#include <string>

namespace qvctl {

/// Content of a file, or of standard input for "-". Throws Failure when it cannot be read.
std::string read_file(const std::string& name);

} // namespace qvctl

#endif
