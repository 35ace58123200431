#include "platform/device_paths.h"

const char* qv_agent_folder() {
    return "/etc/qvagent";
}
