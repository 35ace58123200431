// Opened files, written without short writes and read with a limit. Every function returns 0 or the
// errno of what failed.
#ifndef QV_PLATFORM_ZENDRY_COMMON_FILE_IO_H
#define QV_PLATFORM_ZENDRY_COMMON_FILE_IO_H

#include <cstddef>
#include <string>
#include <string_view>

namespace zendry {

[[nodiscard]] int write_all(int fd, std::string_view bytes);

/// Reads on to the end, at most limit bytes (EFBIG above it), into content.
[[nodiscard]] int read_all(int fd, size_t limit, std::string& content);

} // namespace zendry

#endif
