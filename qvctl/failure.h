// How an invocation ends, and the one way to end it early.
#ifndef QVCTL_FAILURE_H
#define QVCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace qvctl {

/// Exit status of the program.
enum ExitStatus : int {
    ANSWERED = 0,    ///< answered; or sent, where there is no answer
    REFUSED = 1,     ///< refused before it was sent, not taken over by the device, or failed
    USAGE = 2,       ///< the invocation cannot be understood
    NO_ANSWER = 3,   ///< no device, or it kept silent
    UNCONFIRMED = 4, ///< sent, and no report tells whether it was carried out
};

struct Failure : std::runtime_error {
    Failure(ExitStatus end, const std::string& message)
        : std::runtime_error(message), status(end) {}

    ExitStatus status;
};

} // namespace qvctl

#endif
