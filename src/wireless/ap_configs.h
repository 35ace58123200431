// Configuration of the whole access point in one command: all radios with all their VAPs.
#ifndef QV_WIRELESS_AP_CONFIGS_H
#define QV_WIRELESS_AP_CONFIGS_H

#include "agent/command.h"

/// Command handler: sends what the command gives, also when it gives a part; nothing when it is
/// refused. Returns 0 when the wifi manager took it, -1 otherwise.
CommandHandler qv_set_ap_configs;

#endif
