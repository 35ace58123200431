// The state as JSON: read from a file at start, and written for those who want to see it.
#ifndef QV_SIMULATOR_STATE_JSON_H
#define QV_SIMULATOR_STATE_JSON_H

#include "access_point.h"

#include <string>

/// Sets what the file names; a list in it is as long as the access point's shall be. Returns what
/// is wrong with the file, and where, or nothing.
std::string qv_load_state(AccessPoint& ap, const std::string& path);

/// Replaces the file by the whole state. A reader sees the old or the new one, never a part.
bool qv_save_state(const AccessPoint& ap, const std::string& path);

#endif
