// Keys, passphrases and passwords in reports and settings.
#ifndef QVCTL_SECRETS_H
#define QVCTL_SECRETS_H

#include "report.h"

#include <string>
#include <string_view>

namespace qvctl {

/// What stands in the place of a secret that is not empty.
inline constexpr std::string_view HIDDEN = "<hidden>";

bool is_secret(std::string_view key);

/// The report as it may be printed: a copy without its secrets, unless they are to be shown.
Report printable_report(const Report& report, bool show_secrets);

/// The value of a key as it may be printed, on one line.
std::string printable_value(std::string_view key, const std::string& value, bool show_secrets);

/// Name of the first secret that is given as HIDDEN, at any depth, or none.
std::string first_hidden(json_object* settings);
/// Takes those out of the object itself, so that they stay as they are.
void drop_hidden(json_object* settings);

} // namespace qvctl

#endif
