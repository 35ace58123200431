#include "json/mac_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace {

/// Both digits of every byte: a report may hold hundreds of addresses.
using Digits = std::array<char, 2>;
constexpr std::array<Digits, 256> HEX = [] {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<Digits, 256> all{};
    for (size_t byte = 0; byte < all.size(); ++byte) {
        all[byte] = {DIGITS[byte >> 4], DIGITS[byte & 0xF]};
    }
    return all;
}();

} // namespace

int32_t qv_mac_to_string(char* buffer, uint32_t capacity, const uint8_t* mac) {
    if (buffer == nullptr || mac == nullptr || capacity == 0) {
        return -1;
    }
    std::array<char, MAC_TEXT_LENGTH + 1> text;
    qv_put_mac_text(text.data(), mac);
    const size_t length = std::min<size_t>(MAC_TEXT_LENGTH, capacity - 1);
    memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return MAC_TEXT_LENGTH;
}

char* qv_put_hex(char* out, uint8_t byte) {
    memcpy(out, HEX[byte].data(), HEX[byte].size());
    return out + HEX[byte].size();
}

char* qv_put_mac_text(char* out, const uint8_t* mac) {
    for (size_t i = 0; i < 6; ++i) {
        out = qv_put_hex(out, mac[i]);
        *out++ = ':';
    }
    return out - 1;
}
