#include "json/json_text.h"

#include "json/text.h"

#include <bit>

namespace {

// Texts are looked at eight bytes at a time.
using Word = uint64_t;
static_assert(std::endian::native == std::endian::little); // the first byte is the lowest

constexpr Word each(uint8_t byte) {
    return Word{0x0101010101010101} * byte;
}

/// The top bit of every byte below the limit, which is at most 0x80; the lowest is right, and those
/// above it may be too many.
constexpr Word below(Word bytes, uint8_t limit) {
    return (bytes - each(limit)) & ~bytes & each(0x80);
}

/// The same of every byte that is not printed as it is.
constexpr Word special(Word bytes) {
    return (bytes & each(0x80)) | below(bytes, ' ') | below(bytes ^ each('"'), 1) |
           below(bytes ^ each('\\'), 1) | below(bytes ^ each('/'), 1);
}

/// Up to eight bytes; zeros stand for what the text does not have.
Word first_word(std::string_view text) {
    Word word = 0;
    if (text.size() >= sizeof word) {
        memcpy(&word, text.data(), sizeof word);
    } else {
        memcpy(&word, text.data(), text.size());
    }
    return word;
}

char* put_escaped(char* out, char character) {
    constexpr std::string_view ESCAPED = "\"\\/\b\f\n\r\t", LETTERS = "\"\\/bfnrt";
    const size_t place = ESCAPED.find(character);
    if (place != ESCAPED.npos) {
        *out++ = '\\';
        *out++ = LETTERS[place];
        return out;
    }
    out = qv_put(out, "\\u00");
    return qv_put_hex(out, static_cast<uint8_t>(character));
}

/// The text's first character, which is then behind it.
char* put_special(char* out, std::string_view& text) {
    const size_t valid = qv_utf8_size(text);
    const std::string_view character = text.substr(0, valid);
    text.remove_prefix(valid == 0 ? 1 : valid);
    return valid == 0   ? qv_put(out, UTF8_REPLACEMENT)
           : valid == 1 ? put_escaped(out, character[0])
                        : qv_put(out, character);
}

} // namespace

char* qv_put_text(char* out, std::string_view field) {
    *out++ = '"';
    while (!field.empty()) {
        const Word word = first_word(field);
        memcpy(out, &word, sizeof word);
        const Word found = special(word);
        const size_t plain =
            found == 0 ? sizeof word : static_cast<size_t>(std::countr_zero(found)) / 8;
        out += plain;
        field.remove_prefix(plain);
        if (found == 0) {
            continue;
        }
        if (field.empty() || field[0] == '\0') {
            break;
        }
        out = put_special(out, field);
    }
    *out++ = '"';
    return out;
}

char* qv_put_mac(char* out, const uint8_t* mac) {
    *out++ = '"';
    out = qv_put_mac_text(out, mac);
    *out++ = '"';
    return out;
}
