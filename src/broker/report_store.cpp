#include "broker/report_store.h"

#include "platform/log.h"

#include <cstring>
#include <utility>

void ReportStore::add(std::string_view report) {
    OwnedText copy = report.size() > BYTES_MAX ? nullptr : qv_allocate_text(report.size() + 1);
    if (copy == nullptr) {
        qv_log("QV_ERR: report of %zu bytes dropped, no room to keep it\n", report.size());
        return;
    }
    memcpy(copy.get(), report.data(), report.size());
    while (!has_room(report.size())) {
        drop_oldest();
    }
    entries_[(first_ + count_) % REPORTS_MAX] = {std::move(copy), report.size()};
    ++count_;
    bytes_ += report.size();
}

std::string_view ReportStore::oldest() const {
    return {entries_[first_].text.get(), entries_[first_].size};
}

void ReportStore::remove_oldest() {
    const Entry removed = std::exchange(entries_[first_], {});
    bytes_ -= removed.size;
    first_ = (first_ + 1) % REPORTS_MAX;
    --count_;
    oldest_is_sending_ = false;
}

void ReportStore::drop_oldest() {
    qv_log("QV_ERR: oldest report of %zu bytes dropped, too many wait for the broker\n",
           oldest().size());
    remove_oldest();
}
