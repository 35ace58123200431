#include "maintenance/fw_upgrade.h"

#include "agent/context.h"
#include "json/text.h"
#include "maintenance/flash_tools.h"
#include "maintenance/fw_params.h"
#include "platform/device_paths.h"
#include "platform/log.h"
#include "platform/scoped_file.h"
#include "platform/shell.h"
#include "platform/zendry_common.h"
#include "protocol/record_fields.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

bool is_set(const char* flag) {
    return strcmp(flag, "1") == 0;
}

struct Upgrade {
    AgentContext& context;
    /// The job of command 1032, which has `busy` and the worker; else both are not its to give
    /// back: a job that waits for its turn may have them by now.
    bool in_background;
    FwParams params{};
};

void clear_busy(const Upgrade& upgrade) {
    if (upgrade.in_background) {
        const std::lock_guard guard(upgrade.context.lock);
        upgrade.context.busy = 0;
    }
}

/// From here on another job is taken.
void release_worker(const Upgrade& upgrade) {
    if (upgrade.in_background) {
        const std::lock_guard guard(upgrade.context.lock);
        upgrade.context.worker_runs = false;
    }
}

/// Asked before each step: none begins once the agent stops.
bool given_up(const Upgrade& upgrade) {
    if (!qv_agent_stopping(upgrade.context)) {
        return false;
    }
    qv_log("QV_INFO: firmware upgrade given up, the agent stops\n");
    return true;
}

int32_t fail(const Upgrade& upgrade, UpdataStatus status) {
    clear_busy(upgrade);
    // Before the status, which a controller may answer with another job. The start of that one
    // joins this thread: while a slow broker has no room for the status, the intake worker waits,
    // and nobody else. That ends with the session at the latest.
    release_worker(upgrade);
    qv_send_updata_stats(upgrade.context, status);
    return -status;
}

/// `busy` stays as it is: the device is expected to restart.
int32_t flash_with_sysupgrade(const Upgrade& upgrade) {
    qv_send_updata_stats(upgrade.context, UPDATA_DONE);
    if (given_up(upgrade)) { // publishing may have waited
        return fail(upgrade, UPDATA_FLASHING_FAILED);
    }
    qv_run_sysupgrade(upgrade.context, is_set(upgrade.params.save_config));
    release_worker(upgrade);
    return 0;
}

int32_t flash_with_updata_rootfs(const Upgrade& upgrade) {
    qv_send_updata_stats(upgrade.context, UPDATA_FLASHING);
    if (given_up(upgrade) || qv_run_updata_rootfs(is_set(upgrade.params.save_config)) != 0) {
        return fail(upgrade, UPDATA_FLASHING_FAILED);
    }
    qv_send_updata_stats(upgrade.context, UPDATA_DONE);
    clear_busy(upgrade);
    if (is_set(upgrade.params.reboot)) {
        qv_log("QV: reboot now:%d,%d\n", -UPDATA_DONE, 1);
        qv_reboot_device(upgrade.context);
    }
    release_worker(upgrade);
    return UPDATA_DONE;
}

struct Board {
    std::string_view name; ///< first line of the board file
    int32_t (*flash)(const Upgrade& upgrade);
};

constexpr Board BOARDS[] = {
    {"ap-dk07.1-c1", flash_with_sysupgrade},
    {"qcom,ipq6018-ap-cp01-c4", flash_with_updata_rootfs},
    {"qcom,ipq5018-ap-mp03.5-c2", flash_with_updata_rootfs},
};

int32_t flash(const Upgrade& upgrade) {
    char name[64];
    if (qv_get_board_name(name) != 0) {
        qv_log_error("Failed to get board name\n");
        return fail(upgrade, UPDATA_BOARD_UNREADABLE);
    }
    const auto* const board = std::ranges::find(BOARDS, std::string_view(name), &Board::name);
    if (board == std::end(BOARDS)) {
        qv_log_error("Unsupported board: %s\n", name);
        return fail(upgrade, UPDATA_FLASHING_FAILED);
    }
    if (given_up(upgrade)) {
        return fail(upgrade, UPDATA_FLASHING_FAILED);
    }
    return board->flash(upgrade);
}

/// As atoi(3), whose result is undefined for numbers beyond an int.
int32_t port_number(const char* text) {
    return static_cast<int32_t>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

int32_t run(Upgrade& upgrade, const char* payload, uint32_t length) {
    FwParams& params = upgrade.params;
    qv_log("plyload: %s\n", payload);
    qv_log("-------------------------------\n");
    if (qv_json_parse_msg_get_fw_params(params, payload, length) == RecordReading::too_long) {
        return fail(upgrade, UPDATA_DOWNLOAD_FAILED);
    }
    const BrokerConfig broker = qv_agent_broker(upgrade.context);
    const std::string_view host = qv_field_text(broker.host);
    snprintf(params.server_ip, sizeof params.server_ip, "%.*s", static_cast<int>(host.size()),
             host.data());
    qv_print_record(qv_record_bytes(params), qv_fw_log_fields);

    // The controller thread and the worker may each run an upgrade. One must not replace the
    // image, or write the flash, under the tool of the other.
    static std::mutex upgrading;
    const std::lock_guard alone(upgrading);
    if (given_up(upgrade) ||
        file_request(params.server_ip, port_number(params.server_port), params.image_name) != 0) {
        return fail(upgrade, UPDATA_DOWNLOAD_FAILED);
    }
    if (given_up(upgrade) || qv_check_md5sum(qv_device_paths.firmware_image, params.md5sum) != 0) {
        return fail(upgrade, UPDATA_CHECKSUM_WRONG);
    }
    return flash(upgrade);
}

} // namespace

int32_t qv_fw_upgrade(AgentContext& context, const char* payload, uint32_t length) {
    Upgrade upgrade{.context = context, .in_background = true};
    return run(upgrade, payload, length);
}

int32_t qv_fw_upgrade_with_notice(AgentContext& context, const char* payload, uint32_t length) {
    // `busy` was 0 when this command was taken. If it is 1 at the end, a background job that
    // waits for its turn has it.
    Upgrade upgrade{.context = context, .in_background = false};
    const int32_t result = run(upgrade, payload, length);
    if (result == 0 || result == -UPDATA_DOWNLOAD_FAILED) {
        qv_mgr_set_fw_upgrade_status(static_cast<uint32_t>(result));
    }
    return result;
}

int32_t qv_check_md5sum(const char* path, const char* expected) {
    char command[512];
    snprintf(command, sizeof command, "md5sum %s", path);
    qv_log("md5 cmd = %s\n", command);
    char output[1024];
    char sum[512];
    char name[512];
    qv_read_shell(command, output); // a command that could not run has written nothing
    return sscanf(output, "%511s %511s", sum, name) >= 1 && strcmp(sum, expected) == 0 ? 0 : -1;
}

int32_t qv_get_board_name(std::span<char> buffer) {
    const FilePtr file(fopen(qv_device_paths.board_name, "re"));
    if (file == nullptr) {
        perror("Failed to open /tmp/sysinfo/board_name");
        return -1;
    }
    if (fgets(buffer.data(), static_cast<int>(buffer.size()), file.get()) == nullptr) {
        return -1;
    }
    const size_t length = strlen(buffer.data());
    if (length > 0 && buffer[length - 1] == '\n') {
        buffer[length - 1] = '\0';
    }
    return 0;
}

int32_t qv_mgr_set_fw_upgrade_status(uint32_t value) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_FW_UPGRADE_STATUS, qv_record_bytes(value));
}
