// Configuration of the whole access point in one command: all radios with all their VAPs.
#ifndef QV_WIRELESS_AP_CONFIGS_H
#define QV_WIRELESS_AP_CONFIGS_H

#include "agent/command.h"
#include "protocol/ap_configs_records.h"

enum class ApConfigsReading : uint8_t {
    complete,   ///< every field was there
    incomplete, ///< stopped at the first thing that is missing; the record has what was read
    refused,    ///< a list or a text does not fit the record; printed as one line
};

/// Fills the record, which starts as zeros, from "data" -> "apconfigs" of a command text. Returns
/// 0 when every field was found, -1 otherwise; `reading`, when given, tells what happened.
int32_t qv_json_parse_msg_get_apconfigs(ApConfigs& record, const char* payload, uint32_t length,
                                        ApConfigsReading* reading = nullptr);

/// Hands the record over. Returns 0 when the wifi manager took it, -1 otherwise.
int32_t qv_mgr_set_apconfigs(const ApConfigs& record);

/// Command handler: sends what the command gives, also when it gives a part; nothing when it is
/// refused. Returns 0 when the wifi manager took it, -1 otherwise.
CommandHandler qv_set_ap_configs;

#endif
