// Free text that goes from the controller to the wifi manager as it is.
#ifndef QV_WIRELESS_GENERAL_DATA_H
#define QV_WIRELESS_GENERAL_DATA_H

#include "agent/command.h"

/// Hands the NUL-terminated text over, with its NUL. Returns 0 when the wifi manager took it, -1
/// otherwise.
int32_t qv_mgr_set_general_data(const char* text);

/// Command handler: passes on the text of "data" -> "general_data", at most GENERAL_DATA_MAX bytes;
/// a longer one is refused, because the beginning of a JSON text means something else. Returns 0
/// when the wifi manager took the text, -1 otherwise.
CommandHandler qv_set_general_data;

#endif
