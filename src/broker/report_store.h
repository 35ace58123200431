// Reports that wait for a session.
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

    /// The oldest report; the store is not empty.
    std::string_view oldest() const;
    void remove_oldest();

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
};

#endif
