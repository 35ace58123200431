// The replies of a wifi manager that is out of order.
#ifndef QV_SIMULATOR_FAULTS_H
#define QV_SIMULATOR_FAULTS_H

#include "messages.h"

#include <cstdint>
#include <string>

enum class Fault : uint8_t { none, refuse, silent, wrong_id, short_reply, long_reply, closes };

/// The first fault that the control file has for the identifier. The file holds lines
/// "<identifier or all> <fault>"; it is read anew each time, so that a test may switch faults.
Fault qv_find_fault(const std::string& control_file, uint8_t id);

/// Whether a request is dropped unread with that fault.
bool qv_ignores_request(Fault fault);

/// The reply as the fault leaves it.
void qv_spoil_reply(Reply& reply, Fault fault);

#endif
