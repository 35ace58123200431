// Statistics records of the wifi manager, as they stand in its replies: host byte order, text
// fields NUL-terminated within their width or as long as it.
#ifndef QV_REPORTS_STATISTICS_RECORDS_H
#define QV_REPORTS_STATISTICS_RECORDS_H

#include <cstddef>
#include <cstdint>

/// Units and codes of the numbers are the wifi manager's.
struct SystemStats {
    char hw_name[64];
    char fwinfo[64];
    char hostname[64];
    char model[64];
    char kernel_version[64];
    char loadavg[64];
    char equipment_notes[64];
    int32_t cpu_usage;
    int32_t max_memory;
    int32_t max_memory_used;
    int32_t max_disk_space;
    int32_t max_disk_space_used;
    int32_t uptime;
};
static_assert(sizeof(SystemStats) == 472);
static_assert(offsetof(SystemStats, equipment_notes) == 384);
static_assert(offsetof(SystemStats, cpu_usage) == 448);
static_assert(offsetof(SystemStats, uptime) == 468);

#endif
