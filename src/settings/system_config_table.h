// What a command may name of the system section: the table over its record.
#ifndef QV_SETTINGS_SYSTEM_CONFIG_TABLE_H
#define QV_SETTINGS_SYSTEM_CONFIG_TABLE_H

#include "messages/record_fields.h"

#include <span>

/// The texts of SystemConfigRecord, without the servers.
extern const std::span<const RecordField> qv_system_config_fields;

/// Key of the array of servers.
inline constexpr char SYSTEM_SERVER_KEY[] = "server";

#endif
