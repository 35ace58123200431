// The replies of a wifi manager that is out of order.
#ifndef QV_SIMULATOR_FAULTS_H
#define QV_SIMULATOR_FAULTS_H

#include "messages.h"
#include "watched_file.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

enum class Fault : uint8_t { none, refuse, silent, wrong_id, short_reply, long_reply, closes };

/// The control file's lines "<identifier or all> <fault>".
struct Faults {
    WatchedFile file;
    std::vector<std::pair<std::string, std::string>> lines;
};

/// The first fault that the control file has for the identifier. A test may switch faults: the file
/// is read anew when it has changed.
Fault qv_find_fault(Faults& faults, uint8_t id);

/// Whether a request is dropped unread with that fault.
bool qv_ignores_request(Fault fault);

/// The reply as the fault leaves it.
void qv_spoil_reply(Reply& reply, Fault fault);

#endif
