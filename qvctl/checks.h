// Whether the device can hold what a command is about to say. Every check throws Failure with
// REFUSED and a text that names key and limit.
#ifndef QVCTL_CHECKS_H
#define QVCTL_CHECKS_H

#include "protocol/record_fields.h"

#include <string>
#include <string_view>

namespace qvctl {

/// A text of at most `limit` bytes without NUL.
void check_text(const std::string& key, std::string_view text, size_t limit);

/// A text that the device could not take with control characters in it.
void check_no_control(const std::string& key, std::string_view text);

/// An integer within these bounds, written as a number or as text.
void check_integer(const std::string& key, json_object* value, int64_t lowest, int64_t highest);

/// The members of the object: the required ones are there, and a row of the table takes each.
void check_members(const std::string& prefix, json_object* object, RecordTable fields);

/// What the rows of the system settings do not tell of their time servers.
void check_servers(json_object* settings);

/// The parameters of an upgrade, and the length of its whole command text.
void check_firmware(json_object* command);

} // namespace qvctl

#endif
