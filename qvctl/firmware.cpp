#include "checks.h"
#include "dialogue.h"
#include "protocol/upgrade.h"
#include "report_view.h"
#include "verbs.h"

#include <cstdio>

namespace qvctl {

namespace {

/// Between two words of a device: a download and a flashing take minutes.
constexpr double SILENCE_TIMEOUT = 300;
constexpr size_t BAR_COLUMNS = 24;

JsonPtr text(const std::string& value) {
    return JsonPtr(json_object_new_string(value.c_str()));
}

struct Stage {
    int status;
    double progress; ///< of the whole job, 0 to 1
};
constexpr Stage STAGES[] = {
    {UPDATA_ACCEPTED, 0.15}, {UPDATA_FLASHING, 0.6}, {UPDATA_DONE, 1}, {UPDATA_FLASHED_IMAGE, 1}};

double progress_of(int status) {
    for (const Stage& stage : STAGES) {
        if (stage.status == status) {
            return stage.progress;
        }
    }
    return 0;
}

/// What a background job reports first.
bool begins_background(int status) {
    return status == UPDATA_ACCEPTED || status < 0;
}

bool is_end(int status) {
    return status < 0 || progress_of(status) == 1 || progress_of(status) == 0;
}

/// What the report says of the job, as one line.
void show(const Report& report, int status, CommandType job, const Options& options,
          const Style& style) {
    if (options.json) {
        puts(json_line(report).c_str());
    } else {
        const double progress = progress_of(status);
        const Paint paint = progress == 0 ? Paint::bad : Paint::good;
        printf("%s %4d  %s\n", style.paint(paint, style.bar(progress, BAR_COLUMNS)).c_str(), status,
               upgrade_status_text(status, job).c_str());
    }
    fflush(stdout);
}

Failure silence(const std::string& device, CommandType job, double seconds, int last) {
    std::string message = "device " + device + ": no word of the job within " +
                          std::to_string(static_cast<long>(seconds)) + " s";
    if (last != 0) {
        message += "; the last was " + std::to_string(last) + ", " + upgrade_status_text(last, job);
    }
    return {NO_ANSWER, message};
}

/// Follows a job's statuses to its end. The job outlives the device's session with the broker: its
/// statuses wait for the next one, which begins with an announcement.
ExitStatus follow(Session& session, const std::string& device, CommandType job,
                  const Options& options) {
    const Style style = Style::of_output(options);
    const double seconds = options.timeout_or(SILENCE_TIMEOUT);
    int last = 0;
    bool announced = false;
    for (auto deadline = after(seconds);;) {
        const std::optional<Report> report = session.next(deadline);
        if (!report.has_value()) {
            throw silence(device, job, seconds, last);
        }
        if (report->macaddr != device) {
            continue;
        }
        if (report->type == REPORT_TYPE_DEVICE_DISCOVERY && last != 0 && !announced) {
            fprintf(stderr, "note: device %s has connected again; its job may still run\n",
                    device.c_str());
            announced = true;
        }
        if (report->type == REPORT_TYPE_UPDATA_STATS) {
            const int status = json_object_get_int(report->body());
            if (job == COMMAND_FW_UPGRADE_IN_BACKGROUND && last == 0 &&
                !begins_background(status)) {
                throw Failure(REFUSED, "device " + device + ": another upgrade runs");
            }
            last = status;
            show(*report, last, job, options, style);
            if (is_end(last)) {
                return progress_of(last) == 1 ? ANSWERED : REFUSED;
            }
            deadline = after(seconds);
        }
    }
}

ExitStatus run_job(const Options& options, json_object* command) {
    Session session(options);
    const std::string device = choose_device(session, options);
    session.forget();
    session.send(device, command);
    const auto job = static_cast<CommandType>(json_object_get_int(qv_json_member(command, "type")));
    return follow(session, device, job, options);
}

} // namespace

ExitStatus upgrade(const Options& options, const Arguments& arguments) {
    JsonPtr params(json_object_new_object());
    const auto add = [&params](const char* key, const std::string& value) {
        qv_json_add(params.get(), key, text(value));
    };
    add("image_name", arguments.image);
    add("md5sum", arguments.md5sum);
    add("server_ip", ""); // the device downloads from its broker's host
    add("server_port", std::to_string(arguments.server_port));
    add("save_config", arguments.save_config ? "1" : "0");
    add("reboot", arguments.reboot ? "1" : "0");
    json_object* const borrowed = params.get();
    const JsonPtr command =
        new_command(arguments.background ? COMMAND_FW_UPGRADE_IN_BACKGROUND : COMMAND_FW_UPGRADE,
                    new_object("fw_params", std::move(params)));
    check_firmware(borrowed, command.get());
    return run_job(options, command.get());
}

ExitStatus flash(const Options& options, const Arguments& arguments) {
    JsonPtr params(json_object_new_object());
    qv_json_add(params.get(), "save_config",
                JsonPtr(json_object_new_int(arguments.save_config ? 1 : 0)));
    qv_json_add(params.get(), "reboot", JsonPtr(json_object_new_int(arguments.reboot ? 1 : 0)));
    const JsonPtr command =
        new_command(COMMAND_FW_FLASH, new_object("flash_params", std::move(params)));
    return run_job(options, command.get());
}

} // namespace qvctl
