#include "platform/device_paths.h"
#include "platform/zendry_common/paths.h"

const char* qv_agent_folder() {
    static const std::string folder = zendry::rooted("/etc/qvagent");
    return folder.c_str();
}
