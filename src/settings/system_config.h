// System settings: host name, time zone, logging and time servers, reported and applied.
#ifndef QV_SETTINGS_SYSTEM_CONFIG_H
#define QV_SETTINGS_SYSTEM_CONFIG_H

#include "agent/command.h"
#include "protocol/system_config_record.h"
#include "json/json_scope.h"

#include <span>
#include <string_view>

/// Reads the record from the wifi manager; an unanswered read leaves it untouched. Always
/// returns 0.
int32_t qv_get_system_config(SystemConfigRecord& record);

/// Adds the members of "uci_system" to the object. The servers are there only when the record
/// holds 1 to 9 of them. Always returns 0.
int32_t qv_system_config_to_json(json_object* object, const SystemConfigRecord& record);

/// Fills a cleared record from "data" -> "uci_system" of a NUL-terminated command text; without
/// them the record stays as it is. A server name that does not fit its slot is cut, at a
/// character's end, with one line in the log. Always returns 0.
int32_t qv_json_parse_msg_get_uci_system(SystemConfigRecord& record, const char* text,
                                         uint32_t length);

/// Copies JSON text without its double quotes, each backslash pair as its second character. What
/// exceeds the destination's capacity, its NUL included, is dropped. Always returns 0.
int32_t qv_json_unescape(std::string_view source, std::span<char> destination);

/// Hands the record to the wifi manager: 0 when it answers, otherwise -1.
int32_t qv_mgr_set_system_config(const SystemConfigRecord& record);

/// Handler of the command that replaces the whole section; a member that it omits becomes empty.
/// Publishes the settings as the wifi manager then holds them. Returns the result of
/// qv_mgr_set_system_config.
CommandHandler qv_set_system_config;

#endif
