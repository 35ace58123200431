// Firmware upgrades: their parameters, and what their status reports say.
#ifndef QV_PROTOCOL_UPGRADE_H
#define QV_PROTOCOL_UPGRADE_H

#include "protocol/record_fields.h"

#include <cstdint>

/// What a status report says about a firmware job.
enum UpdataStatus : int32_t {
    UPDATA_FLASHED_IMAGE = 2,    ///< an image downloaded earlier was flashed
    UPDATA_ACCEPTED = 201,       ///< the job starts
    UPDATA_FLASHING = 202,       ///< image verified, updata_rootfs.sh about to run
    UPDATA_DONE = 203,           ///< updata_rootfs.sh succeeded, or sysupgrade about to run
    UPDATA_DOWNLOAD_FAILED = -1, ///< or the command was refused
    UPDATA_CHECKSUM_WRONG = -2,  ///< or could not be computed
    UPDATA_FLASHING_FAILED = -3, ///< or no tool for this board
    UPDATA_BOARD_UNREADABLE = -4,
};

/// "data" -> "fw_params" of a command. NUL-terminated texts; empty where nothing was read.
struct FwParams {
    char image_name[128]; ///< file on the download server
    char md5sum[256];     ///< as md5sum(1) prints it: 32 lower-case hexadecimal digits
    char server_port[16]; ///< decimal
    char server_ip[64];   ///< read, but the download always goes to the broker's host
    char save_config[8];  ///< "1" keeps the device's configuration
    char reboot[8];       ///< "1" reboots after updata_rootfs.sh has succeeded
};

/// In the order of reading, and in that of the log.
extern const RecordTable qv_fw_fields;
extern const RecordTable qv_fw_log_fields;

/// "data" -> "flash_params" of a command.
struct FlashParams {
    int32_t save_config; ///< 1 keeps the device's configuration
    int32_t reboot;      ///< 1 reboots after the image was flashed
};

/// In the order of reading.
extern const RecordTable qv_flash_fields;

#endif
