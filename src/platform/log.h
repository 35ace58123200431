// The log: lines on standard output, for those who read along while the agent runs.
#ifndef QV_PLATFORM_LOG_H
#define QV_PLATFORM_LOG_H

#include <string_view>

// Every call writes what it is given at once, whole, and never between parts of another thread's.
// What cannot be written (a full disk, a reader that has gone) is lost; nothing else fails by it.

/// Writes what printf(3) would; the format ends with the line.
[[gnu::format(printf, 1, 2)]] void qv_log(const char* format, ...);

/// The same on standard error.
[[gnu::format(printf, 1, 2)]] void qv_log_error(const char* format, ...);

/// Writes a line from its beginning and a text of any length, of which no copy is made.
void qv_log_text(std::string_view beginning, std::string_view text);

#endif
