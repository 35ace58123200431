#include "words.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace qvctl {

namespace {

/// Levenshtein's distance: characters inserted, removed and changed.
size_t distance(std::string_view from, std::string_view to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < from.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < to.size(); ++j) {
            const size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, diagonal + 1, changed});
        }
    }
    return row.back();
}

} // namespace

std::string lower_case(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return text;
}

bool is_hexadecimal(std::string_view text) {
    return text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

bool is_digits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

std::string nearest_word(std::string_view typed, std::span<const std::string> words) {
    const std::string name = lower_case(std::string(typed));
    std::string nearest;
    size_t least = name.size() / 2 + 1; // farther is another word
    for (const std::string& word : words) {
        const std::string known = lower_case(word);
        // Who types the beginning of a word means that word.
        const size_t changes = known.starts_with(name) ? 1 : distance(name, known);
        if (changes < least) {
            least = changes;
            nearest = word;
        }
    }
    return nearest;
}

} // namespace qvctl
