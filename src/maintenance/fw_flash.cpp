#include "maintenance/fw_flash.h"

#include "agent/context.h"
#include "json/json_field.h"
#include "maintenance/flash_tools.h"
#include "maintenance/fw_upgrade.h"
#include "platform/log.h"
#include "platform/owned_text.h"
#include "protocol/commands.h"
#include "protocol/record_walk.h"
#include "reports/send_report.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

/// What the worker is given; its own from the start of the thread.
struct FlashJob {
    AgentContext* ctx = nullptr;
    OwnedText data; ///< copy of the command text, NUL-terminated
    uint32_t len = 0;
};

using FlashJobPtr = std::unique_ptr<FlashJob>;

/// None when memory is out.
FlashJobPtr new_flash_job(AgentContext& context, const char* payload, uint32_t length) {
    FlashJobPtr job(new (std::nothrow) FlashJob);
    if (job == nullptr) {
        return nullptr;
    }
    job->ctx = &context;
    job->len = length;
    job->data = qv_allocate_text(size_t{length} + 1);
    if (job->data == nullptr) {
        return nullptr;
    }
    memcpy(job->data.get(), payload, length);
    job->data[length] = '\0';
    return job;
}

/// Takes `busy` and the worker. False when a job has the worker, or when the agent stops. `busy`
/// alone refuses nobody: a sysupgrade that did not restart the device leaves it behind, and a new
/// job is the way back.
bool begin_job(AgentContext& context) {
    const std::lock_guard guard(context.lock);
    if (context.worker_runs || qv_agent_stopping(context)) {
        return false;
    }
    context.state = AGENT_STATE_BUSY;
    context.busy = 1;
    context.worker_runs = true;
    return true;
}

int32_t abandon_job(AgentContext& context, const char* reason) {
    {
        const std::lock_guard guard(context.lock);
        context.state = AGENT_STATE_RUN;
        context.busy = 0;
        context.worker_runs = false;
    }
    qv_log("QV_ERR: firmware upgrade not started: %s\n", reason);
    qv_send_updata_stats(context, UPDATA_DOWNLOAD_FAILED);
    return 0;
}

} // namespace

int32_t qv_fw_flash_start(AgentContext& context, const char* payload, uint32_t length) {
    if (!begin_job(context)) {
        qv_log("QV_ERR: firmware upgrade refused: another one runs, or the agent stops\n");
        return 0;
    }
    FlashJobPtr job = new_flash_job(context, payload, length);
    if (job == nullptr) {
        return abandon_job(context, "out of memory");
    }
    qv_send_updata_stats(context, UPDATA_ACCEPTED);
    qv_log("QV_INFO: flashing rootfs:%s\n", job->data.get());
    if (!context.worker.start("qv-firmware", qv_fw_flash_thread, job.get())) {
        return abandon_job(context, "no thread");
    }
    static_cast<void>(job.release());
    return 0;
}

void* qv_fw_flash_thread(void* job) {
    const FlashJobPtr own(static_cast<FlashJob*>(job));
    qv_fw_upgrade(*own->ctx, own->data.get(), own->len);
    return nullptr;
}

int32_t qv_json_parse_msg_get_fw_flash(FlashParams& params, const char* payload, uint32_t length) {
    qv_log("qv_json_parse_msg_get_fw_flash  %s\n", payload);
    const CommandContract& contract = qv_command_contract(COMMAND_FW_FLASH);
    const JsonPtr root = inet_recv_request(payload, length);
    const RecordReading reading = qv_json_to_record(qv_command_data(root.get(), contract),
                                                    qv_record_bytes(params), *contract.fields);
    return reading.outcome == RecordReading::complete ? 0 : -1;
}

int32_t qv_fw_flash(AgentContext& context, const char* payload, uint32_t length) {
    FlashParams params{};
    qv_log("plyload: %s\n", payload);
    qv_log("-------------------------------\n");
    qv_json_parse_msg_get_fw_flash(params, payload, length);
    const int32_t status = qv_run_updata_rootfs(params.save_config == 1);
    qv_send_updata_stats(context, status == 0 ? int32_t{UPDATA_FLASHED_IMAGE} : -status);
    if (status == 0 && params.reboot == 1) {
        qv_reboot_device(context);
    }
    return 0;
}
