// Whether a device holds what was asked for, as far as its reports tell.
#ifndef QVCTL_CONFIRM_H
#define QVCTL_CONFIRM_H

#include "failure.h"
#include "options.h"
#include "protocol.h"
#include "report.h"

#include <span>

namespace qvctl {

/// Says of every member that was asked for what the reports tell otherwise, or that none of them
/// tells it. Returns ANSWERED when all are confirmed, REFUSED when one is not so, UNCONFIRMED when
/// no report tells of one.
ExitStatus confirm(const Setting& setting, json_object* asked, std::span<const Report> reports,
                   const Options& options);

} // namespace qvctl

#endif
