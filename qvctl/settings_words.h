// Settings from the words of the command line.
#ifndef QVCTL_SETTINGS_WORDS_H
#define QVCTL_SETTINGS_WORDS_H

#include "protocol.h"

#include <string>
#include <vector>

namespace qvctl {

struct GivenSettings {
    JsonPtr object;         ///< what was given
    bool from_file = false; ///< a file has given all of them
};

/// Reads the words in order: a word without "=" names a file with a JSON object ("-": standard
/// input), which may be a report or a command that holds the settings in its "data"; key=value
/// sets one member, a list by its JSON text. Throws Failure.
GivenSettings read_settings(const Setting& setting, const std::vector<std::string>& words);

} // namespace qvctl

#endif
