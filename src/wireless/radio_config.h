// Configuration of one radio.
#ifndef QV_WIRELESS_RADIO_CONFIG_H
#define QV_WIRELESS_RADIO_CONFIG_H

#include "agent/command.h"

/// Command handler: applies the configuration of one radio and of its first VAP, prints both with
/// passwords, and publishes the radio list, whether the wifi manager took it or not. Always
/// returns 0.
CommandHandler qv_set_radio_config;

#endif
