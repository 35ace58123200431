// What qvctl can do. Each verb returns its exit status or throws Failure.
#ifndef QVCTL_VERBS_H
#define QVCTL_VERBS_H

#include "failure.h"
#include "options.h"
#include "protocol.h"
#include "session.h"

namespace qvctl {

ExitStatus list_devices(const Options& options, const Arguments& arguments);
ExitStatus get(const Options& options, const Arguments& arguments, const Reading& reading);
ExitStatus set(const Options& options, const Arguments& arguments, const Setting& setting);

// Sent, and confirmed by nothing.

ExitStatus set_clock(const Options& options, const Arguments& arguments);
ExitStatus set_password(const Options& options, const Arguments& arguments);
ExitStatus set_notes(const Options& options, const Arguments& arguments);
ExitStatus reload_wifi(const Options& options, const Arguments& arguments);
ExitStatus pass_through(const Options& options, const Arguments& arguments);

ExitStatus upgrade(const Options& options, const Arguments& arguments);
ExitStatus flash(const Options& options, const Arguments& arguments);

ExitStatus watch(const Options& options, const Arguments& arguments);
ExitStatus top(const Options& options, const Arguments& arguments);

/// Sends a command that no report answers, and says so.
void send_only(Session& session, const std::string& device, const Options& options,
               json_object* command);

} // namespace qvctl

#endif
