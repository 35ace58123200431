// Small commands that act on the device itself and answer nothing: clock, administrator password,
// equipment notes, wifi reload.
#ifndef QV_MAINTENANCE_DEVICE_COMMANDS_H
#define QV_MAINTENANCE_DEVICE_COMMANDS_H

#include <cstdint>
#include <optional>

struct AgentContext;

// Handlers. All return 0, whatever becomes of their shell command or store calls.

/// Command 1015: sets the clock to "timestamp", to the second. Refused with one line when there
/// is no such number or its local time has no four-digit year.
int32_t qv_set_system_time(AgentContext& context, const char* payload, uint32_t length);

/// Command 1016: sets the password of the user "admin". One that is too long or holds control
/// characters is refused with a line that does not show it: a part of it would lock the owner out.
int32_t qv_set_admin_password(AgentContext& context, const char* payload, uint32_t length);

/// Command 1017: stores a note, cut to what the store's readers hold.
int32_t qv_set_equipment_notes(AgentContext& context, const char* payload, uint32_t length);

/// Command 1021.
int32_t qv_wifi_reload(AgentContext& context, const char* payload, uint32_t length);

/// Takes "timestamp" (milliseconds since 1970-01-01 00:00:00 UTC) from a NUL-terminated command
/// text as whole seconds, rounded towards zero: a JSON number, or text of digits from end to end
/// behind a sign or none. Unchanged when the command has no such number. Always returns 0.
int32_t qv_json_parse_msg_get_timestamp(std::optional<int64_t>& seconds, const char* text,
                                        uint32_t length);

#endif
