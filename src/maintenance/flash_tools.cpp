#include "maintenance/flash_tools.h"

#include "broker/publish.h"
#include "platform/device_paths.h"
#include "platform/shell.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace {

/// The tool may end the agent before it returns; until then the last status is to have left.
constexpr std::chrono::seconds STATUS_LIMIT{2};

using CommandText = std::array<char, 256>;

CommandText flash_command(const char* tool, bool keep_configuration) {
    CommandText command{};
    snprintf(command.data(), command.size(), "%s%s %s", tool, keep_configuration ? "" : " -n",
             qv_device_paths.firmware_image);
    return command;
}

} // namespace

int32_t qv_run_sysupgrade(bool keep_configuration) {
    const CommandText command = flash_command("sysupgrade", keep_configuration);
    printf("QV: sysupgrade command: %s\n", command.data());
    return qv_run_shell(command.data());
}

int32_t qv_run_updata_rootfs(bool keep_configuration) {
    const CommandText command = flash_command("updata_rootfs.sh", keep_configuration);
    printf("QV: flashing command: %s\n", command.data());
    const int32_t status = qv_run_shell(command.data());
    if (status != 0) {
        fprintf(stderr, "Command '%s' failed with status %d\n", command.data(), status);
    }
    return status;
}

int32_t qv_reboot_device(AgentContext& context) {
    qv_mqtt_await_written(context, STATUS_LIMIT);
    return qv_run_shell("reboot");
}
