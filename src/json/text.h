// Fixed-width text fields and UTF-8.
#ifndef QV_JSON_TEXT_H
#define QV_JSON_TEXT_H

#include "json/json_scope.h"

#include <cstddef>
#include <span>
#include <string_view>

/// Whether the text fits in so many bytes with a NUL behind it and is all there up to that NUL: one
/// with a NUL in it fits nowhere.
bool qv_text_fits(std::string_view text, size_t capacity);

/// Text of a fixed-width field: up to its first NUL, or its full width.
std::string_view qv_field_text(std::span<const char> field);

/// Fills the field: the text's first bytes, NUL behind a shorter text; a text of the field's
/// width or longer leaves no terminator.
void qv_set_field_text(std::span<char> field, std::string_view text);

/// Most bytes of a UTF-8 character behind its first.
inline constexpr size_t UTF8_TAIL_MAX = 3;

/// Length in bytes of the longest beginning of `text` that has at most `limit` bytes and does not
/// end inside a UTF-8 character (RFC 3629); what is not UTF-8 is cut at the limit. A longer text
/// must be given with UTF8_TAIL_MAX bytes behind the limit; the rest does not matter.
size_t qv_utf8_cut(std::string_view text, size_t limit);

/// Bytes of the UTF-8 character at the start of a text that is not empty; 0 when there is none.
size_t qv_utf8_size(std::string_view text);

/// What a report has instead of each byte that is not UTF-8, because a JSON text must be
/// (RFC 8259).
inline constexpr std::string_view UTF8_REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

/// A JSON string of the text, with the replacements. None when memory is out.
JsonPtr qv_json_new_text(std::string_view text);

#endif
