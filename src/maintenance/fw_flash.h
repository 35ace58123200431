// Firmware commands that the intake runs at once: an upgrade in the background, and flashing of
// the image that an earlier upgrade has left.
#ifndef QV_MAINTENANCE_FW_FLASH_H
#define QV_MAINTENANCE_FW_FLASH_H

#include "protocol/upgrade.h"

#include <cstdint>

struct AgentContext;

/// Handler of command 1032: starts the worker, which runs qv_fw_upgrade. AGENT_STATE_BUSY and
/// `busy` are set meanwhile. Refused with one line while a worker runs. Always returns 0.
int32_t qv_fw_flash_start(AgentContext& context, const char* payload, uint32_t length);

/// Entry of the worker thread (argument: a FlashJob, which it releases).
void* qv_fw_flash_thread(void* job);

/// Handler of command 1033: runs updata_rootfs.sh on the image as it lies there, on the calling
/// thread, and reports status 2 or the tool's negated status. Always returns 0.
int32_t qv_fw_flash(AgentContext& context, const char* payload, uint32_t length);

/// Fills a cleared record from "data" -> "flash_params". Returns 0 when both members were read, -1
/// otherwise; what follows the first missing one keeps its value.
int32_t qv_json_parse_msg_get_fw_flash(FlashParams& params, const char* payload, uint32_t length);

#endif
