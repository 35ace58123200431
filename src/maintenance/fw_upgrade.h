// Firmware upgrade: download, checksum, flashing with the board's tool, status reports.
#ifndef QV_MAINTENANCE_FW_UPGRADE_H
#define QV_MAINTENANCE_FW_UPGRADE_H

#include "protocol/upgrade.h"

#include <cstdint>
#include <span>

struct AgentContext;

/// Runs an upgrade to its end, on the calling thread; upgrades wait for one another. Clears the
/// context's `busy` at the end, except after sysupgrade, which restarts the device. Returns 0
/// after sysupgrade, 203 after updata_rootfs.sh, or the negated status of a failure, 1 to 4.
int32_t qv_fw_upgrade(AgentContext& context, const char* payload, uint32_t length);

/// Handler of command 1002: as qv_fw_upgrade, but never touches `busy`, which only a background
/// job holds; then notice to the wifi manager when the download failed (1) or sysupgrade was run
/// (0). Returns the result of the upgrade.
int32_t qv_fw_upgrade_with_notice(AgentContext& context, const char* payload, uint32_t length);

/// 0 when the file's MD5 sum is the expected text, -1 otherwise. `path` is one plain shell word.
int32_t qv_check_md5sum(const char* path, const char* expected);

/// Name of the board, cut to the buffer. Returns 0, or -1 when it cannot be read.
int32_t qv_get_board_name(std::span<char> buffer);

/// Tells the wifi manager how an upgrade went. Returns 0, or -1 without its acknowledgement.
int32_t qv_mgr_set_fw_upgrade_status(uint32_t value);

#endif
