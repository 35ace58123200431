// Configuration of the radios: reported for all of them, applied to one.
#ifndef QV_WIRELESS_RADIO_CONFIG_H
#define QV_WIRELESS_RADIO_CONFIG_H

#include "agent/command.h"
#include "protocol/radio_vap_records.h"
#include "json/json_scope.h"

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_radio_config(RadioList& record);

/// Appends one object of "uci_radio_list" per radio to the array; ends early when memory is out.
/// Always returns 0.
int32_t qv_radio_config_to_json(json_object* array, const RadioList& record);

/// Fills the record, which starts as zeros, from "data" -> "general_data" of a NUL-terminated
/// command text and from the first element of the "vap_list" in it; what is missing stays zero.
/// Prints the main fields of the VAP as it goes. Always returns 0.
int32_t qv_json_parse_msg_get_radio_config(RadioConfigRecord& record, const char* payload,
                                           uint32_t length);

/// Prints the record, passwords included, one line per field.
void qv_print_radio_config(const RadioConfigRecord& record);

/// Hands the record over. Returns 0 when the wifi manager took it, -1 otherwise.
int32_t qv_mgr_set_radio_config(const RadioConfigRecord& record);

/// Command handler: applies the configuration of one radio and publishes the radio list, whether
/// the wifi manager took it or not. Always returns 0.
CommandHandler qv_set_radio_config;

#endif
