// Parameters of a firmware upgrade.
#ifndef QV_MAINTENANCE_FW_PARAMS_H
#define QV_MAINTENANCE_FW_PARAMS_H

#include "protocol/record_walk.h"
#include "protocol/upgrade.h"

#include <cstdint>

/// Fills a cleared record from a command text of `length` bytes, NUL-terminated at their end or
/// earlier. Refused as too long, with one line, for the command or for a member. Bytes that are
/// neither printable ASCII nor line ends are logged, no more, unless the command is too long.
RecordReading::Outcome qv_json_parse_msg_get_fw_params(FwParams& params, const char* payload,
                                                       uint32_t length);

#endif
