// What the wifi manager of a device takes from the configuration store.
#ifndef QV_SIMULATOR_STORED_NOTES_H
#define QV_SIMULATOR_STORED_NOTES_H

#include <string>

/// The option equipment_notes of the package's first section of type "system"; empty without one.
/// Read without the store's lock, which may be held for long. The store replaces its files, so of
/// its edits all is seen or nothing. What another program rewrites in place may be seen half done;
/// the next reading has the rest.
std::string qv_read_stored_notes(const std::string& package_file);

#endif
