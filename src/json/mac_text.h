// MAC addresses as text.
#ifndef QV_JSON_MAC_TEXT_H
#define QV_JSON_MAC_TEXT_H

#include <cstdint>

/// Room for a MAC address in text form with its NUL, and to spare.
inline constexpr uint32_t MAC_TEXT_SIZE = 64;
inline constexpr uint32_t MAC_TEXT_LENGTH = 17; ///< characters, without the NUL

/// Formats six bytes as "%02x:%02x:%02x:%02x:%02x:%02x". Returns the number of characters, 17, or
/// -1, writing nothing, when the buffer or the MAC is missing or the capacity is 0. A capacity
/// below 18 cuts the text.
int32_t qv_mac_to_string(char* buffer, uint32_t capacity, const uint8_t* mac);

/// Writes two of these digits. Returns their end.
char* qv_put_hex(char* out, uint8_t byte);

/// Writes the 17 characters, and one behind them that does not count. Returns their end.
char* qv_put_mac_text(char* out, const uint8_t* mac);

#endif
