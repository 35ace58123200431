// Configuration of one virtual access point (VAP).
#ifndef QV_WIRELESS_VAP_CONFIG_H
#define QV_WIRELESS_VAP_CONFIG_H

#include "agent/command.h"

/// Command handlers; each returns 0 when the wifi manager took the record, -1 otherwise. 1004
/// publishes the VAP list afterwards, whatever that result is.
CommandHandler qv_set_vap_config_1004;
CommandHandler qv_set_vap_config_1006;
CommandHandler qv_set_vap_config_1007;

#endif
