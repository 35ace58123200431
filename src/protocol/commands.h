// Commands: their types, what they carry and which report answers them.
#ifndef QV_PROTOCOL_COMMANDS_H
#define QV_PROTOCOL_COMMANDS_H

#include "protocol/record_fields.h"
#include "protocol/reports.h"

#include <cstddef>
#include <cstdint>

/// "type" of each command.
enum CommandType : int32_t {
    COMMAND_HELLO = 1000,
    COMMAND_SET_APCONFIGS = 1001,
    COMMAND_FW_UPGRADE = 1002,
    COMMAND_SET_SYSTEM = 1003,
    COMMAND_SET_VAP_AND_REPORT = 1004,
    COMMAND_SET_RADIO = 1005,
    COMMAND_SET_VAP_1006 = 1006,
    COMMAND_SET_VAP_1007 = 1007,
    COMMAND_SET_NETWORK_LAN = 1011,
    COMMAND_SET_NETWORK_WAN = 1012,
    COMMAND_SET_NETWORK_WAN6 = 1013,
    COMMAND_RECONNECT = 1014,
    COMMAND_SET_CLOCK = 1015,
    COMMAND_SET_PASSWORD = 1016,
    COMMAND_SET_EQUIPMENT_NOTES = 1017,
    COMMAND_GET_MACLIST_STATUS = 1018,
    COMMAND_SET_MACLIST = 1019,
    COMMAND_DELETE_MACLIST = 1020,
    COMMAND_WIFI_RELOAD = 1021,
    COMMAND_SET_GENERAL_DATA = 1022,
    COMMAND_GET_AP_STATS = 1023,
    COMMAND_GET_STA_STATS = 1024,
    COMMAND_GET_RADIO_STATS = 1025,
    COMMAND_GET_INTERFACE_STATS = 1026,
    COMMAND_GET_SYSTEM = 1027,
    COMMAND_GET_VAP_LIST = 1028,
    COMMAND_GET_NETWORK_LAN = 1029,
    COMMAND_GET_NETWORK_WAN = 1030,
    COMMAND_GET_NETWORK_WAN6 = 1031,
    COMMAND_FW_UPGRADE_IN_BACKGROUND = 1032,
    COMMAND_FW_FLASH = 1033,
    COMMAND_GET_SYSTEM_STATS = 1034,
    COMMAND_REFRESH_WIFI_STATS = 1035,
};

// Longest texts of "general_data", in bytes.
inline constexpr size_t ADMIN_PASSWORD_MAX = 19;
inline constexpr size_t EQUIPMENT_NOTES_MAX = 31;
/// Of a wifi interface's index: too short for a number that atoi(3) could not hold.
inline constexpr size_t MACLIST_INDEX_MAX = 7;
inline constexpr size_t GENERAL_DATA_MAX = 63;

/// Longest command text of an upgrade, in bytes.
inline constexpr uint32_t FW_COMMAND_MAX = 300;

/// Member of "data" with the seconds after which a change of settings is taken back unless a
/// command confirms it, an integer.
inline constexpr char CONFIRM_KEY[] = "confirm_s";
inline constexpr uint16_t CONFIRM_MIN = 10;
inline constexpr uint16_t CONFIRM_MAX = 3600;

/// A command that carries something or is answered.
struct CommandContract {
    CommandType type;
    ReportType answer = REPORT_TYPE_NONE;
    const char* key = nullptr;           ///< the one member of "data", none for a command without
    const RecordTable* fields = nullptr; ///< what it holds; without them it is a text
    uint16_t text_max = 0;               ///< of that text, in bytes
    uint16_t command_max = 0;            ///< longest command text in bytes, 0: any
    bool takes_confirm = false;          ///< "data" may have CONFIRM_KEY beside the key
};

extern const std::span<const CommandContract> qv_command_contracts;

/// The row of a type that has one.
const CommandContract& qv_command_contract(CommandType type);

/// What the command carries, or none. Borrowed from the command.
json_object* qv_command_data(json_object* command, const CommandContract& contract);

#endif
