#include "platform/device_paths.h"

const DevicePaths qv_device_paths{.firmware_image = "/tmp/qv_firmware.img",
                                  .board_name = "/tmp/sysinfo/board_name"};
