// Settings from the words of the command line.
#ifndef QVCTL_SETTINGS_WORDS_H
#define QVCTL_SETTINGS_WORDS_H

#include "protocol.h"

#include <string>
#include <vector>

namespace qvctl {

/// Reads the words in order. The first may name the entry that is meant, where the settings are
/// those of one ("ath1"); a word without "=" names a file with a JSON object ("-": standard input),
/// which may be a report or a command, or an entry of a list in it; key=value sets one member, a
/// list by its JSON text, and servers also as a,b. Throws Failure.
JsonPtr read_settings(const Setting& setting, const std::vector<std::string>& words);

} // namespace qvctl

#endif
