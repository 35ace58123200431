#include "job_view.h"

#include "protocol/upgrade.h"
#include "report_view.h"
#include "terminal.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace qvctl {

namespace {

constexpr double DOWNLOAD_LINE_PAUSE = 0.2; // seconds
constexpr size_t BAR_COLUMNS = 24;

struct Stage {
    int status;
    double progress; ///< of the whole job, 0 to 1
};
constexpr Stage STAGES[] = {
    {UPDATA_ACCEPTED, 0.15}, {UPDATA_FLASHING, 0.6}, {UPDATA_DONE, 1}, {UPDATA_FLASHED_IMAGE, 1}};

std::string megabytes(double bytes) {
    char text[32];
    snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    return text;
}

} // namespace

double progress_of_job(int status) {
    for (const Stage& stage : STAGES) {
        if (stage.status == status) {
            return stage.progress;
        }
    }
    return 0;
}

JobView::JobView(const Options& options, CommandType job, const ImageServer* server)
    : options_(options), job_(job), server_(server), style_(Style::of_output(options)) {}

void JobView::status(const Report& report, int status) {
    download(true);
    if (options_.json) {
        puts(json_line(report).c_str());
    } else {
        const double progress = progress_of_job(status);
        const Paint paint = progress == 0 ? Paint::bad : Paint::good;
        printf("%s %4d  %s\n", style_.paint(paint, style_.bar(progress, BAR_COLUMNS)).c_str(),
               status, upgrade_status_text(status, job_).c_str());
    }
    fflush(stdout);
}

void JobView::download(bool at_end) {
    if (server_ == nullptr || options_.json || !server_->download().begun) {
        return;
    }
    const Download& state = server_->download();
    const bool whole = state.sent == state.size;
    const bool grows = isatty(STDOUT_FILENO) != 0 && !is_dumb_terminal();
    if (shown_ == state.sent || (!whole && !at_end && (!grows || Clock::now() < next_line_))) {
        if (at_end && line_open_) {
            putchar('\n');
            line_open_ = false;
        }
        return;
    }
    const double seconds = std::max(Seconds(Clock::now() - state.begin).count(), 0.001);
    const auto sent = static_cast<double>(state.sent);
    const auto size = static_cast<double>(state.size);
    printf("%s%s       %s of %s, %s/s%s", line_open_ ? "\r" : "",
           style_.bar(size == 0 ? 1 : sent / size, BAR_COLUMNS).c_str(), megabytes(sent).c_str(),
           megabytes(size).c_str(), megabytes(sent / seconds).c_str(), whole || at_end ? "\n" : "");
    fflush(stdout);
    shown_ = state.sent;
    line_open_ = !whole && !at_end;
    next_line_ = after(DOWNLOAD_LINE_PAUSE);
}

void JobView::note(const std::string& text) {
    download(true);
    fprintf(stderr, "note: %s\n", text.c_str());
}

} // namespace qvctl
