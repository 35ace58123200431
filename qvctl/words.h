// Words as people type them.
#ifndef QVCTL_WORDS_H
#define QVCTL_WORDS_H

#include <span>
#include <string>
#include <string_view>

namespace qvctl {

/// ASCII letters in lower case.
std::string lower_case(std::string text);

bool is_hexadecimal(std::string_view text);
/// Whether it is a decimal number without a sign; an empty text is none.
bool is_digits(std::string_view text);

/// The word that takes the fewest changes of a character to become, or none when all are far off.
std::string nearest_word(std::string_view typed, std::span<const std::string> words);

} // namespace qvctl

#endif
