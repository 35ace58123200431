// Network settings: LAN, WAN and WAN6.
#ifndef QV_NETWORK_NETWORK_CONFIG_H
#define QV_NETWORK_NETWORK_CONFIG_H

#include "agent/command.h"

// Handlers of the commands that replace the settings; a member that a command omits becomes
// empty. Each publishes the settings as the wifi manager then holds them, unless the command is
// refused. Always 0.
CommandHandler qv_set_network_lan;
CommandHandler qv_set_network_wan;
CommandHandler qv_set_network_wan6;

#endif
