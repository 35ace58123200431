// One message from the broker, as a report is read.
#ifndef QVCTL_REPORT_H
#define QVCTL_REPORT_H

#include "json/json_scope.h"

#include <string>

namespace qvctl {

/// A message of the report topic or, where it is overheard, of a device's command topic.
struct Report {
    std::string text; ///< as received
    JsonPtr root{};   ///< none when it is no JSON object
    int type = -1;
    std::string macaddr{};   ///< of the device, in lower case; empty when it names none
    bool is_command = false; ///< overheard: another controller's, or one of our own

    /// Member of the envelope as text; empty when it is missing.
    std::string member(const char* key) const;
    /// The one member of "data", or none. Borrowed.
    json_object* body() const;
};

/// A report of the text; what is no JSON object has neither type nor device.
Report read_report(std::string text);

} // namespace qvctl

#endif
