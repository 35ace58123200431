// The system section as the wifi manager holds it: host byte order, text fields NUL-terminated
// within their width or as long as it.
#ifndef QV_PROTOCOL_SYSTEM_CONFIG_RECORD_H
#define QV_PROTOCOL_SYSTEM_CONFIG_RECORD_H

#include "protocol/record_fields.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

inline constexpr int32_t SYSTEM_SERVER_SLOTS = 10;
inline constexpr uint32_t SYSTEM_SERVER_SIZE = 50; ///< of a slot, its NUL included

/// Numbers and flags are carried as text.
struct SystemConfigRecord {
    char hostname[40];
    char zonename[40];
    char timezone[40];
    char log_size[10];
    char log_ip[16];
    char log_port[16];
    char conloglevel[10];
    char cronloglevel[10];
    char enabled[10];
    char enable_server[10];
    char server[SYSTEM_SERVER_SLOTS][SYSTEM_SERVER_SIZE];
    uint8_t reserved[2];  ///< 0
    int32_t server_count; ///< slots in use; anything at all in a reply
};
static_assert(sizeof(SystemConfigRecord) == 708);
static_assert(offsetof(SystemConfigRecord, log_size) == 120);
static_assert(offsetof(SystemConfigRecord, log_ip) == 130);
static_assert(offsetof(SystemConfigRecord, conloglevel) == 162);
static_assert(offsetof(SystemConfigRecord, server) == 202);
static_assert(offsetof(SystemConfigRecord, reserved) == 702);
static_assert(offsetof(SystemConfigRecord, server_count) == 704);

/// In the order of the report and of the log. A server name that does not fit its slot is cut, at a
/// character's end, with one line in the log; a report shows 1 to 9 of them.
extern const RecordTable qv_system_config_fields;

/// Key of the array of servers.
inline constexpr char SYSTEM_SERVER_KEY[] = "server";

/// Copies JSON text without its double quotes, each backslash pair as its second character. What
/// exceeds the destination's capacity, its NUL included, is dropped. Always returns 0.
int32_t qv_json_unescape(std::string_view source, std::span<char> destination);

#endif
