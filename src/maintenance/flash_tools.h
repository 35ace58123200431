// The tools that write a firmware image to flash.
#ifndef QV_MAINTENANCE_FLASH_TOOLS_H
#define QV_MAINTENANCE_FLASH_TOOLS_H

#include <cstdint>

struct AgentContext;

// Both log the command, run it on the downloaded image and return its status as qv_run_shell
// does. Unless `keep_configuration` the tool is told to forget the device's configuration.

int32_t qv_run_sysupgrade(bool keep_configuration);

/// Says on standard error when the status is not 0.
int32_t qv_run_updata_rootfs(bool keep_configuration);

/// Runs reboot, once the kernel has every report that was published, or after 2 s. Returns the
/// tool's status.
int32_t qv_reboot_device(AgentContext& context);

#endif
