#include "maintenance/flash_tools.h"

#include "broker/publish.h"
#include "platform/device_paths.h"
#include "platform/log.h"
#include "platform/shell.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace {

/// A tool that restarts the device may end the agent before it returns; by then the last status
/// is to have left.
constexpr std::chrono::seconds STATUS_LIMIT{2};

using CommandText = std::array<char, 256>;

CommandText flash_command(const char* tool, bool keep_configuration) {
    CommandText command{};
    snprintf(command.data(), command.size(), "%s%s %s", tool, keep_configuration ? "" : " -n",
             qv_device_paths.firmware_image);
    return command;
}

} // namespace

int32_t qv_run_sysupgrade(AgentContext& context, bool keep_configuration) {
    qv_mqtt_await_written(context, STATUS_LIMIT);
    const CommandText command = flash_command("sysupgrade", keep_configuration);
    qv_log("QV: sysupgrade command: %s\n", command.data());
    return qv_run_shell(command.data());
}

int32_t qv_run_updata_rootfs(bool keep_configuration) {
    const CommandText command = flash_command("updata_rootfs.sh", keep_configuration);
    qv_log("QV: flashing command: %s\n", command.data());
    const int32_t status = qv_run_shell(command.data());
    if (status != 0) {
        qv_log_error("Command '%s' failed with status %d\n", command.data(), status);
    }
    return status;
}

int32_t qv_reboot_device(AgentContext& context) {
    qv_mqtt_await_written(context, STATUS_LIMIT);
    return qv_run_shell("reboot");
}
