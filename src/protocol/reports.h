// Reports: their kinds and types.
#ifndef QV_PROTOCOL_REPORTS_H
#define QV_PROTOCOL_REPORTS_H

#include "protocol/record_fields.h"

#include <cstdint>

/// What the agent selects a report by.
enum ReportKindNumber : int32_t {
    REPORT_DEVICE_DISCOVERY = 1,
    REPORT_SYSTEM_STATS = 4,
    REPORT_AP_STATS = 5,
    REPORT_STA_STATS = 6,
    REPORT_RADIO_STATS = 7,
    REPORT_INTERFACE_STATS = 8,
    REPORT_UCI_SYSTEM = 9,
    REPORT_UCI_VAP_LIST = 10,
    REPORT_UCI_RADIO_LIST = 11,
    REPORT_UCI_NETWORK_LAN = 12,
    REPORT_UCI_NETWORK_WAN = 13,
    REPORT_UCI_NETWORK_WAN6 = 14,
    REPORT_UPDATA_STATS = 15,
};

/// "type" of each report.
enum ReportType : int32_t {
    REPORT_TYPE_NONE = 0,
    REPORT_TYPE_DEVICE_DISCOVERY = 1000,
    REPORT_TYPE_SYSTEM_STATS = 1003,
    REPORT_TYPE_AP_STATS = 1004,
    REPORT_TYPE_STA_STATS = 1005,
    REPORT_TYPE_RADIO_STATS = 1006,
    REPORT_TYPE_INTERFACE_STATS = 1007,
    REPORT_TYPE_UCI_SYSTEM = 1008,
    REPORT_TYPE_UCI_VAP_LIST = 1009,
    REPORT_TYPE_UCI_RADIO_LIST = 1010,
    REPORT_TYPE_UCI_NETWORK_LAN = 1011,
    REPORT_TYPE_UCI_NETWORK_WAN = 1012,
    REPORT_TYPE_UCI_NETWORK_WAN6 = 1013,
    REPORT_TYPE_UCI_VAP_MACLIST = 1014,
    REPORT_TYPE_UPDATA_STATS = 1015,
};

// Bodies that are no records of the wifi manager.

struct DeviceDiscovery {
    uint8_t macaddr[6];
};
static_assert(sizeof(DeviceDiscovery) == 6);

/// The status of a firmware job.
struct UpdataStats {
    int32_t status;
};
static_assert(sizeof(UpdataStats) == 4);

/// The word of the wifi manager about the upload of one MAC list.
struct MacListStatus {
    int32_t uploading_status;
};
static_assert(sizeof(MacListStatus) == 4);

extern const RecordTable qv_device_discovery_fields;
extern const RecordTable qv_updata_stats_fields;
extern const RecordTable qv_maclist_status_fields;

#endif
