// Reports as people read them.
#ifndef QVCTL_REPORT_VIEW_H
#define QVCTL_REPORT_VIEW_H

#include "protocol.h"
#include "session.h"
#include "style.h"

#include <span>
#include <string>
#include <vector>

namespace qvctl {

/// A list of objects as a table of these members, or of all when there are none. On a terminal as
/// many of them as it has room for, and a last line that names those left out.
std::vector<std::string> list_lines(json_object* list, std::span<const char* const> columns,
                                    const Style& style);

/// The body of a report: a list as a table, an object as one line per member, a number as it is.
/// `all` shows every member of a list's entries, one line each.
std::vector<std::string> body_lines(const Report& report, bool all, const Style& style);

/// Says on standard error what body_lines left out of a table, where no terminal shows its last
/// line.
void note_left_out(const Report& report, const Style& style);

/// Whether there is nothing but zeros, empty texts and empty lists in it, as in the reports of a
/// device whose wifi manager does not answer.
bool holds_nothing(json_object* value);

/// The first entry for each value of the first of these members, with these members only.
JsonPtr distinct_entries(json_object* list, std::span<const char* const> columns);

/// The report as one line of JSON; as a string when it is no JSON object.
std::string json_line(const Report& report);

/// A value on one line, a string without its quotes.
std::string cell_of(json_object* value);

void print_lines(const std::vector<std::string>& lines, const char* indent = "");

} // namespace qvctl

#endif
