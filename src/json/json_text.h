// JSON written as text, to the last character as json-c prints it in its default form.
#ifndef QV_JSON_JSON_TEXT_H
#define QV_JSON_JSON_TEXT_H

#include "json/mac_text.h"

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

// Each of these writes at `out` and returns the end of what it has written. Whoever calls them has
// the room: what the constants say, and JSON_TEXT_SLACK behind all of it, which may be written to.

inline constexpr size_t JSON_TEXT_SLACK = 32;
inline constexpr size_t JSON_MAC_SIZE = MAC_TEXT_LENGTH + 2; ///< with its quotes

/// Most bytes that a field of that width becomes: a control character takes six.
constexpr size_t qv_json_text_room(size_t width) {
    return 6 * width + 2;
}

/// What is JSON already.
inline char* qv_put(char* out, std::string_view json) {
    memcpy(out, json.data(), json.size());
    return out + json.size();
}

/// A string of the field's text: up to its first NUL, or its full width. What is not UTF-8
/// (RFC 3629) is replaced by U+FFFD, one for each byte, because a JSON text must be UTF-8.
char* qv_put_text(char* out, std::string_view field);

/// A string of six bytes as qv_mac_to_string has them.
char* qv_put_mac(char* out, const uint8_t* mac);

template <std::integral Integer>
constexpr size_t JSON_INTEGER_SIZE = std::numeric_limits<Integer>::digits10 + 2; ///< with its sign

template <std::integral Integer>
char* qv_put_integer(char* out, Integer value) {
    return std::to_chars(out, out + JSON_INTEGER_SIZE<Integer>, value).ptr;
}

#endif
