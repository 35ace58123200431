// How far a firmware job is, as people watch it.
#ifndef QVCTL_JOB_VIEW_H
#define QVCTL_JOB_VIEW_H

#include "image_server.h"
#include "protocol.h"
#include "report.h"
#include "style.h"

#include <string>

namespace qvctl {

/// How much of a job is done with that status, 0 to 1; a failure is 0.
double progress_of_job(int status);

class JobView {
public:
    /// `server` may be none, and outlives this else, as the options do.
    JobView(const Options& options, CommandType job, const ImageServer* server);

    /// A line for a status, or its report as JSON.
    void status(const Report& report, int status);
    /// The download as far as it is, on a line that a terminal shows growing; elsewhere only when
    /// it is whole, or at the end.
    void download(bool at_end);
    /// A line for what else there is to know.
    void note(const std::string& text);

private:
    const Options& options_;
    const CommandType job_;
    const ImageServer* const server_;
    const Style style_;
    uint64_t shown_ = 0;     ///< bytes of the download
    bool line_open_ = false; ///< on the terminal
    Clock::time_point next_line_{};
};

} // namespace qvctl

#endif
