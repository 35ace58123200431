#include "messages/mac_text.h"

#include <cstdio>

int32_t qv_mac_to_string(char* buffer, uint32_t capacity, const uint8_t* mac) {
    if (buffer == nullptr || mac == nullptr || capacity == 0) {
        return -1;
    }
    return snprintf(buffer, capacity, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                    mac[3], mac[4], mac[5]);
}
