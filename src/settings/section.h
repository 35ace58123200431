// Settings that a command gives as one record, which goes to the wifi manager as a whole.
#ifndef QV_SETTINGS_SECTION_H
#define QV_SETTINGS_SECTION_H

#include "protocol/commands.h"
#include "protocol/wifi_manager.h"

struct AgentContext;

/// What one kind of settings has of its own. Members, keys and answer are those of the command.
struct SettingsSection {
    CommandType command;
    WifiMgrMsgId apply;
    bool show_payload = false; ///< prints the command text first
    /// Prints what the table does not.
    void (*print_more)(std::span<const std::byte> record) = nullptr;
};

/// Fills a cleared record from a NUL-terminated command text; what the command leaves out stays
/// empty.
void qv_read_section(CommandType command, std::span<std::byte> record, const char* payload);

/// Fills a cleared record as above, prints it, hands it to the wifi manager, and publishes the
/// settings as the wifi manager then holds them if the command is answered at all. Returns 0 when
/// the wifi manager took the record, -1 otherwise.
int32_t qv_set_section(const SettingsSection& section, std::span<std::byte> record,
                       AgentContext& context, const char* payload);

#endif
