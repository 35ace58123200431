// Reports that the kernel does not have yet.
#ifndef QV_BROKER_REPORT_STORE_H
#define QV_BROKER_REPORT_STORE_H

#include "platform/owned_text.h"

#include <array>
#include <cstdint>
#include <string_view>

/// First-in-first-out and bounded: what does not fit pushes the oldest out. Not thread-safe.
class ReportStore {
public:
    static constexpr uint32_t REPORTS_MAX = 64;
    static constexpr size_t BYTES_MAX = size_t{1024} * 1024;

    /// Keeps a copy of the report. Every report that is lost by it, be it an older one or this
    /// one, is logged with one line.
    void add(std::string_view report);

    bool empty() const {
        return count_ == 0;
    }
    uint32_t count() const {
        return count_;
    }

    /// Whether a report of this size pushes no other out.
    bool has_room(size_t size) const {
        return count_ == 0 || (count_ < REPORTS_MAX && bytes_ + size <= BYTES_MAX);
    }

    /// The oldest report; the store is not empty.
    std::string_view oldest() const;
    void remove_oldest();

    // The oldest report, once it is on its way, stays until it has left. It loses the mark when
    // it is pushed out.
    void mark_sending() {
        oldest_is_sending_ = count_ > 0;
    }
    void unmark_sending() {
        oldest_is_sending_ = false;
    }
    bool oldest_is_sending() const {
        return oldest_is_sending_;
    }

private:
    struct Entry {
        OwnedText text;
        size_t size = 0;
    };

    void drop_oldest();

    std::array<Entry, REPORTS_MAX> entries_; ///< a ring
    uint32_t first_ = 0;
    uint32_t count_ = 0;
    size_t bytes_ = 0;
    bool oldest_is_sending_ = false;
};

#endif
