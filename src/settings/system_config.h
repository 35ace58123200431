// System settings: host name, time zone, logging and time servers.
#ifndef QV_SETTINGS_SYSTEM_CONFIG_H
#define QV_SETTINGS_SYSTEM_CONFIG_H

#include "agent/command.h"

/// Handler of the command that replaces the whole section; a member that it omits becomes empty.
/// Publishes the settings as the wifi manager then holds them. Returns 0 when the wifi manager took
/// them, -1 otherwise.
CommandHandler qv_set_system_config;

#endif
