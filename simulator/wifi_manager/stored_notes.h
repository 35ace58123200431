// What the wifi manager of a device takes from the configuration store.
#ifndef QV_SIMULATOR_STORED_NOTES_H
#define QV_SIMULATOR_STORED_NOTES_H

#include "protocol/statistics_records.h"

#include <string>

/// Puts the option equipment_notes of the package's first section of type "system" into the
/// statistics, which stay as they are without one or with an empty one.
void qv_show_stored_notes(SystemStats& system, const std::string& package_file);

#endif
