// Configuration of the virtual access points (VAPs): reported for all of them, applied to one.
#ifndef QV_WIRELESS_VAP_CONFIG_H
#define QV_WIRELESS_VAP_CONFIG_H

#include "agent/command.h"
#include "protocol/radio_vap_records.h"
#include "protocol/wifi_manager.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_vap_config(VapList& record);

/// Appends one object of "uci_vap_list" per VAP to the array; ends early when memory is out.
/// Returns the number of objects appended.
int32_t qv_vap_config_to_json(json_object* array, const VapList& record);

/// Fills the record, which starts as zeros, from "data" -> "vap_config" of a NUL-terminated
/// command text; what is missing stays zero. Always returns 0.
int32_t qv_json_parse_msg_get_vap_config(VapRecord& record, const char* payload, uint32_t length);

/// Prints the main fields, one line each.
void qv_print_vap_config(const VapRecord& record);

/// Hands the record over under one of the WIFI_MGR_SET_VAP_CONFIG_* identifiers. Returns 0 when
/// the wifi manager took it, -1 otherwise.
int32_t qv_mgr_set_vap_config(const VapRecord& record, WifiMgrMsgId id);

/// Command handlers; each returns the result of qv_mgr_set_vap_config. 1004 publishes the VAP list
/// afterwards, whatever that result is.
CommandHandler qv_set_vap_config_1004;
CommandHandler qv_set_vap_config_1006;
CommandHandler qv_set_vap_config_1007;

#endif
