// Files of the device that the agent and its firmware tools share.
#ifndef QV_PLATFORM_DEVICE_PATHS_H
#define QV_PLATFORM_DEVICE_PATHS_H

struct DevicePaths {
    const char* firmware_image; ///< where file_request leaves the image; plain shell words only
    const char* board_name;     ///< its first line names the board
};

/// Where the agent keeps files of its own: "/etc/qvagent", below the stand-in's prefix on a desk.
/// It may not be there.
const char* qv_agent_folder();

/// The device's own, defined beside the shell; unit tests define paths of their own.
extern const DevicePaths qv_device_paths;

#endif
