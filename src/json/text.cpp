#include "json/text.h"

#include "platform/owned_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

/// Bytes of the character that a lead byte begins, and the range of its second byte, which shuts
/// out overlong forms, surrogates and what lies beyond U+10FFFF (RFC 3629, section 4).
struct Lead {
    uint8_t first, last;
    uint8_t size;
    uint8_t second_min, second_max;
};
constexpr Lead LEADS[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

uint8_t byte_at(std::string_view text, size_t index) {
    return static_cast<uint8_t>(text[index]);
}

/// Bytes at the start of the text that are valid UTF-8.
size_t valid_size(std::string_view text) {
    size_t size = 0;
    while (size < text.size()) {
        const size_t character = qv_utf8_size(text.substr(size));
        if (character == 0) {
            break;
        }
        size += character;
    }
    return size;
}

JsonPtr new_string(std::string_view text) {
    return JsonPtr(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

} // namespace

size_t qv_utf8_size(std::string_view text) {
    const uint8_t byte = byte_at(text, 0);
    const auto* const lead = std::ranges::find_if(
        LEADS, [&](const Lead& row) { return row.first <= byte && byte <= row.last; });
    if (lead == std::end(LEADS) || text.size() < lead->size) {
        return 0;
    }
    if (lead->size > 1 &&
        (byte_at(text, 1) < lead->second_min || byte_at(text, 1) > lead->second_max)) {
        return 0;
    }
    for (size_t i = 2; i < lead->size; ++i) {
        if ((byte_at(text, i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return lead->size;
}

bool qv_text_fits(std::string_view text, size_t capacity) {
    return text.size() < capacity && text.find('\0') == text.npos;
}

std::string_view qv_field_text(std::span<const char> field) {
    return {field.data(), strnlen(field.data(), field.size())};
}

void qv_set_field_text(std::span<char> field, std::string_view text) {
    const size_t size = std::min(field.size(), text.size());
    memcpy(field.data(), text.data(), size);
    memset(field.data() + size, 0, field.size() - size);
}

size_t qv_utf8_cut(std::string_view text, size_t limit) {
    if (text.size() <= limit) {
        return text.size();
    }
    // What is not UTF-8 is cut at the limit.
    for (size_t back = 1; back <= std::min(limit, UTF8_TAIL_MAX); ++back) {
        if (qv_utf8_size(text.substr(limit - back)) > back) {
            return limit - back;
        }
    }
    return limit;
}

JsonPtr qv_json_new_text(std::string_view text) {
    size_t valid = valid_size(text);
    if (valid == text.size()) {
        return new_string(text);
    }
    const OwnedText replaced = qv_allocate_text(text.size() * UTF8_REPLACEMENT.size());
    if (replaced == nullptr) {
        return nullptr;
    }
    char* end = replaced.get();
    for (;;) {
        end = std::copy_n(text.data(), valid, end);
        text.remove_prefix(valid);
        if (text.empty()) {
            break;
        }
        end = std::ranges::copy(UTF8_REPLACEMENT, end).out;
        text.remove_prefix(1);
        valid = valid_size(text);
    }
    return new_string({replaced.get(), static_cast<size_t>(end - replaced.get())});
}
