// Parameters of a firmware upgrade.
#ifndef QV_MAINTENANCE_FW_PARAMS_H
#define QV_MAINTENANCE_FW_PARAMS_H

#include "protocol/upgrade.h"

#include <cstdint>

enum class FwParamsResult : int32_t {
    complete = 0,
    incomplete = -1, ///< not JSON, or a member is missing: those after it stay empty
    too_long = -2,   ///< the command or a member's text; one line has named it
};

/// Fills a cleared record from a command text of `length` bytes, NUL-terminated at their end or
/// earlier. Bytes that are neither printable ASCII nor line ends are logged, no more.
FwParamsResult qv_json_parse_msg_get_fw_params(FwParams& params, const char* payload,
                                               uint32_t length);

#endif
