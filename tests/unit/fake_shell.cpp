#include "fake_shell.h"

#include "platform/device_paths.h"
#include "platform/log.h"
#include "platform/shell.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {
char firmware_image[128];
char board_name[128];
char agent_folder[128];
} // namespace

const DevicePaths qv_device_paths{.firmware_image = firmware_image, .board_name = board_name};

const char* qv_agent_folder() {
    return agent_folder;
}

DeviceFolder::DeviceFolder()
    : path((std::filesystem::temp_directory_path() / "qv-XXXXXX").string()) {
    mkdtemp(path.data());
    snprintf(firmware_image, sizeof firmware_image, "%s/image", path.c_str());
    snprintf(board_name, sizeof board_name, "%s/board_name", path.c_str());
    snprintf(agent_folder, sizeof agent_folder, "%s/qvagent", path.c_str());
}

DeviceFolder::~DeviceFolder() {
    std::filesystem::remove_all(path);
}

FakeShell& fake_shell() {
    static FakeShell instance;
    return instance;
}

int32_t qv_run_shell(const char* command) {
    qv_log("%s%s\n", SHELL_LINE, command);
    fake_shell().commands.emplace_back(command);
    const std::string text = command;
    const auto scripted = fake_shell().status.find(text.substr(0, text.find(' ')));
    return scripted == fake_shell().status.end() ? 0 : scripted->second;
}

int32_t qv_read_shell(const char* command, std::span<char> output) {
    const int32_t status = qv_run_shell(command);
    snprintf(output.data(), output.size(), "%s", fake_shell().output.c_str());
    return status;
}
