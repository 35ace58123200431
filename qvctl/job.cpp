#include "job.h"

#include "dialogue.h"
#include "job_view.h"
#include "protocol/upgrade.h"
#include "style.h"
#include "terminal.h"

#include <array>
#include <cstdio>

namespace qvctl {

namespace {

/// Between two words of a device: a download and a flashing take minutes.
constexpr double SILENCE_TIMEOUT = 300;
/// From the flashing to the first word of the new firmware.
constexpr double BACK_TIMEOUT = 600;

bool is_end(int status) {
    return progress_of_job(status) == 1 || progress_of_job(status) == 0;
}

/// Whether a job of that kind can have that status at all.
bool is_status_of(CommandType job, int status) {
    if (job == COMMAND_FW_FLASH) {
        return status < UPDATA_ACCEPTED;
    }
    return (status < 0 && status >= UPDATA_BOARD_UNREADABLE) || status == UPDATA_FLASHING ||
           status == UPDATA_DONE ||
           (job == COMMAND_FW_UPGRADE_IN_BACKGROUND && status == UPDATA_ACCEPTED);
}

bool is_job(int type) {
    return type == COMMAND_FW_UPGRADE || type == COMMAND_FW_UPGRADE_IN_BACKGROUND ||
           type == COMMAND_FW_FLASH;
}

CommandType type_of(json_object* command) {
    return static_cast<CommandType>(json_object_get_int(qv_json_member(command, "type")));
}

class Job {
public:
    Job(Session& session, const Options& options, const std::string& device, const JobOrder& order);

    void await_idle();
    ExitStatus follow();
    bool restarts() const;
    ExitStatus await_back();

private:
    std::optional<Report> next(Clock::time_point deadline);
    void take_command(const Report& command);
    void take_status(const Report& report);
    bool is_of_another(int status);
    ExitStatus end() const;
    Failure silence(double seconds) const;

    Session& session_;
    const Options& options_;
    const std::string& device_;
    const JobOrder& order_;
    const CommandType type_;
    const JsonPtr question_ = new_command(COMMAND_GET_SYSTEM_STATS);
    const SignalDescriptor signals_;
    JobView view_;
    bool connected_ = true;
    std::string fwname_; ///< before the job
    bool question_heard_ = false;
    bool sent_ = false;
    bool command_heard_ = false;
    int ahead_ = 0; ///< others' upgrades that the device does before this one
    bool ambiguous_ = false;
    int last_ = 0; ///< status
    bool flashing_seen_ = false;
};

Job::Job(Session& session, const Options& options, const std::string& device, const JobOrder& order)
    : session_(session), options_(options), device_(device), order_(order),
      type_(type_of(order.command)), view_(options, type_, order.server) {
    session_.overhear(device_);
}

/// The next report of the device; serves the image and listens to signals and commands meanwhile.
std::optional<Report> Job::next(Clock::time_point deadline) {
    bool more = false;
    while (true) {
        std::array others = {
            pollfd{.fd = signals_.descriptor(), .events = POLLIN, .revents = 0},
            pollfd{.fd = order_.server == nullptr ? -1 : order_.server->descriptor(),
                   .events = POLLIN,
                   .revents = 0}};
        std::optional<Report> report = session_.next(more ? Clock::now() : deadline, others);
        if (session_.connected() != connected_) {
            connected_ = session_.connected();
            view_.note("broker " + session_.broker() +
                       (connected_ ? ": connected again" : ": connection lost; trying again"));
        }
        if (others[0].revents != 0 && signals_.asks_to_end()) {
            throw Failure(REFUSED, !sent_ ? "interrupted; nothing was sent"
                                          : "interrupted; the job goes on at device " + device_ +
                                                ", and qvctl watch shows its statuses");
        }
        if (others[1].revents != 0 || more) {
            more = order_.server->work();
            view_.download(false);
        }
        if (report.has_value() && report->macaddr == device_) {
            if (!report->is_command) {
                return report;
            }
            take_command(*report);
        }
        if (Clock::now() >= deadline) {
            return std::nullopt;
        }
    }
}

/// Waits until the device answers a question, so that it has no job. One that hangs in a job takes
/// an upgrade in the background all the same: that is the way back.
void Job::await_idle() {
    const double seconds = options_.timeout_or(ANSWER_TIMEOUT);
    session_.forget();
    session_.send(device_, question_.get());
    const auto deadline = after(seconds);
    while (const std::optional<Report> report = next(deadline)) {
        if (report->type == REPORT_TYPE_DEVICE_DISCOVERY) {
            session_.send(device_, question_.get()); // the first fell into a reconnection
        } else if (report->type == REPORT_TYPE_SYSTEM_STATS) {
            fwname_ = report->member("fwname");
            return;
        }
    }
    if (type_ != COMMAND_FW_UPGRADE_IN_BACKGROUND) {
        throw Failure(NO_ANSWER, "device " + device_ + ": no answer within " +
                                     seconds_text(seconds) +
                                     ", as while it upgrades; nothing was sent" + session_.doubt());
    }
    view_.note("device " + device_ +
               " does not answer, as while it upgrades; it refuses a second "
               "upgrade without a word");
}

/// What an overheard command means for whose the statuses are.
void Job::take_command(const Report& command) {
    const auto is_text_of = [&command](json_object* own) {
        return command.text == json_object_to_json_string_ext(own, JSON_C_TO_STRING_PLAIN);
    };
    if (is_text_of(question_.get())) {
        question_heard_ = true;
        ahead_ = 0; // what stood before it was done before the answer
    } else if (is_text_of(order_.command)) {
        command_heard_ = true;
    } else if (is_job(command.type)) {
        if (command.type == COMMAND_FW_UPGRADE && type_ == COMMAND_FW_UPGRADE) {
            ahead_ += command_heard_ ? 0 : 1; // each waits for the one before
        } else if (command.type == COMMAND_FW_FLASH || type_ != COMMAND_FW_UPGRADE_IN_BACKGROUND ||
                   !command_heard_) {
            ambiguous_ = ambiguous_ || question_heard_;
        } // else the device drops it
    }
}

/// Whether a status cannot be of this job.
bool Job::is_of_another(int status) {
    if (!is_status_of(type_, status)) {
        view_.note("status " + std::to_string(status) + " is of another job at the device");
        return true;
    }
    if (ahead_ > 0) {
        ahead_ -= is_end(status) ? 1 : 0;
        view_.note("status " + std::to_string(status) + " is of an upgrade that was sent before");
        return true;
    }
    return false;
}

void Job::take_status(const Report& report) {
    const int status = json_object_get_int(report.body());
    if (is_of_another(status)) {
        return;
    }
    if (type_ == COMMAND_FW_UPGRADE_IN_BACKGROUND && last_ == 0 && status != UPDATA_ACCEPTED) {
        throw Failure(REFUSED, "device " + device_ + ": another upgrade runs");
    }
    last_ = status;
    flashing_seen_ = flashing_seen_ || status == UPDATA_FLASHING;
    view_.status(report, last_);
}

Failure Job::silence(double seconds) const {
    std::string message = "device " + device_ + ": no word of the job within " +
                          std::to_string(static_cast<long>(seconds)) + " s";
    if (last_ != 0) {
        message +=
            "; the last was " + std::to_string(last_) + ", " + upgrade_status_text(last_, type_);
    }
    return {NO_ANSWER, message};
}

/// Sends the command and follows its statuses to the last. The job outlives the device's session
/// with the broker: its statuses wait for the next one, which begins with an announcement.
ExitStatus Job::follow() {
    session_.send(device_, order_.command, Delivery::written); // a second time is a second job
    sent_ = true;
    const double seconds = options_.timeout_or(SILENCE_TIMEOUT);
    bool announced = false;
    for (auto deadline = after(seconds); last_ == 0 || !is_end(last_);) {
        const int before = last_;
        const std::optional<Report> report = next(deadline);
        if (!report.has_value()) {
            throw silence(seconds);
        }
        if (report->type == REPORT_TYPE_DEVICE_DISCOVERY && last_ != 0 && !announced) {
            view_.note("device " + device_ + " has connected again; its job may still run");
            announced = true;
        }
        if (report->type == REPORT_TYPE_UPDATA_STATS) {
            take_status(*report);
        }
        if (last_ != before) {
            deadline = after(seconds);
        }
    }
    return end();
}

ExitStatus Job::end() const {
    if (last_ == UPDATA_DOWNLOAD_FAILED && !order_.url.empty()) {
        fprintf(stderr, "qvctl: the device was told to fetch %s\n", order_.url.c_str());
    }
    if (!command_heard_) { // not even the own one came back
        fprintf(stderr, "qvctl: the broker does not show commands here: whether another controller "
                        "sent a job meanwhile cannot be told\n");
    }
    if (progress_of_job(last_) != 1) {
        return REFUSED;
    }
    if (ambiguous_) {
        fprintf(stderr, "qvctl: another job was sent to the device meanwhile: whose status that "
                        "was, it does not tell\n");
        return UNCONFIRMED;
    }
    return ANSWERED;
}

/// Whether the device restarts now: by the tool that flashes, or because it was asked to.
bool Job::restarts() const {
    return (last_ == UPDATA_DONE && !flashing_seen_) || order_.reboot;
}

ExitStatus Job::await_back() {
    const double seconds = options_.timeout_or(BACK_TIMEOUT);
    fprintf(stderr, "waiting for the device to come back; --no-wait-back does not\n");
    const auto deadline = after(seconds);
    bool heard = false;
    while (const std::optional<Report> report = next(deadline)) {
        const std::string fwname = report->member("fwname");
        if (fwname_.empty() ? report->type == REPORT_TYPE_DEVICE_DISCOVERY : fwname != fwname_) {
            fprintf(stderr, "device %s is back with %s\n", device_.c_str(),
                    printable(fwname).c_str());
            return ANSWERED;
        }
        heard = heard || report->type == REPORT_TYPE_DEVICE_DISCOVERY; // how a new session begins
    }
    const std::string device = "device " + device_ + ": ";
    throw heard ? Failure(UNCONFIRMED, device + "still names its firmware " + printable(fwname_) +
                                           " after " + seconds_text(seconds) +
                                           ": whether it runs the image, it does not tell")
                : Failure(NO_ANSWER, device + "not back within " + seconds_text(seconds));
}

} // namespace

ExitStatus run_job(Session& session, const Options& options, const std::string& device,
                   const JobOrder& order) {
    Job job(session, options, device, order);
    job.await_idle();
    fprintf(stderr, "device %s%s\n", device.c_str(), order.plan.c_str());
    const ExitStatus status = job.follow();
    if (status != ANSWERED || !job.restarts() || !order.wait_back) {
        return status;
    }
    return job.await_back();
}

} // namespace qvctl
