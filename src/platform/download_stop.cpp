#include "platform/download_stop.h"

#include <atomic>

namespace {

std::atomic<bool> stopped;

} // namespace

void qv_stop_downloads() {
    stopped = true;
}

bool qv_downloads_stopped() {
    return stopped;
}
