// Parameters of a firmware upgrade.
#ifndef QV_MAINTENANCE_FW_PARAMS_H
#define QV_MAINTENANCE_FW_PARAMS_H

#include <cstdint>
#include <span>

/// Longest command text of an upgrade, in bytes.
inline constexpr uint32_t FW_COMMAND_MAX = 300;

/// "data" -> "fw_params" of a command. NUL-terminated texts; empty where nothing was read.
struct FwParams {
    char image_name[128]; ///< file on the download server
    char md5sum[256];     ///< as md5sum(1) prints it: 32 lower-case hexadecimal digits
    char server_port[16]; ///< decimal
    char server_ip[64];   ///< read, but the download always goes to the broker's host
    char save_config[8];  ///< "1" keeps the device's configuration
    char reboot[8];       ///< "1" reboots after updata_rootfs.sh has succeeded
};

/// A member of "fw_params" and the text that it fills.
struct FwField {
    const char* key;
    std::span<char> (*field)(FwParams& params);
};

/// In the order of reading.
extern const std::span<const FwField> qv_fw_fields;

enum class FwParamsResult : int32_t {
    complete = 0,
    incomplete = -1, ///< not JSON, or a member is missing: those after it stay empty
    too_long = -2,   ///< the command, or a member's text (qv_text_fits); one line has named it
};

/// Fills a cleared record from a command text of `length` bytes, NUL-terminated at their end or
/// earlier. Bytes that are neither printable ASCII nor line ends are logged, no more, unless the
/// command is too long.
FwParamsResult qv_json_parse_msg_get_fw_params(FwParams& params, const char* payload,
                                               uint32_t length);

#endif
