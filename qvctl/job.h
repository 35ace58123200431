// A firmware job at a device: which of the statuses that come are its own, how far it is, and
// whether the device comes back.
#ifndef QVCTL_JOB_H
#define QVCTL_JOB_H

#include "failure.h"
#include "image_server.h"
#include "session.h"

#include <string>

namespace qvctl {

/// What a job is to do.
struct JobOrder {
    json_object* command; ///< 1002, 1032 or 1033; borrowed
    std::string plan;     ///< what will happen, said behind the device's name before it does
    std::string url{};    ///< of the image, told when the download fails
    ImageServer* server = nullptr;
    bool reboot = false;    ///< asked for
    bool wait_back = false; ///< for a device that restarts
};

/// Sends the command to a device that has no other job, shows the statuses that are its own, and
/// waits until the device is back where that is asked for. Throws Failure.
///
/// Reports carry no number of their command. Whose a status is follows from what is overheard: a
/// device that answers a question does not upgrade, 1002s are carried out in the order of their
/// sending, and a 1032 beside one that runs is refused. Where that does not tell, it is said.
ExitStatus run_job(Session& session, const Options& options, const std::string& device,
                   const JobOrder& order);

} // namespace qvctl

#endif
