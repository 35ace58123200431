// Changes of the access point that are more than the replacement of a record. Each returns why the
// request is refused, with nothing changed, or none.
#ifndef QV_SIMULATOR_APPLIES_H
#define QV_SIMULATOR_APPLIES_H

#include "messages.h"

/// Sets what the record gives, on the VAP of its interface name and on the radio below it.
const char* qv_apply_vap(AccessPoint& ap, Bytes request);

/// Sets what the record gives, on the radio of its name and on that radio's first VAP.
const char* qv_apply_radio(AccessPoint& ap, Bytes request);

/// Makes the radios named from the first on, each with exactly the VAPs that stand below it.
const char* qv_apply_apconfigs(AccessPoint& ap, Bytes request);

/// A text with its NUL.
const char* qv_apply_general_data(AccessPoint& ap, Bytes request);

/// 1: an upgrade failed, 0: it succeeded.
const char* qv_apply_upgrade_notice(AccessPoint& ap, Bytes request);

#endif
