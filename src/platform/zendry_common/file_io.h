/*
 * Whole files: written without short writes, read with a limit, replaced in one step.
 * Every function returns 0 or the errno of what failed.
 */
#ifndef QV_PLATFORM_ZENDRY_COMMON_FILE_IO_H
#define QV_PLATFORM_ZENDRY_COMMON_FILE_IO_H

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace zendry {

[[nodiscard]] int write_all(int fd, std::string_view bytes);

/* Reads a regular file of at most limit bytes (EFBIG above it) into content. */
[[nodiscard]] int read_file(const std::string& path, size_t limit, std::string& content);

/*
 * Puts content in place of the file, which keeps its mode and owner; a file that was not there
 * gets new_mode. A kill or a power cut at any moment leaves the old or the new file, whole; after
 * a failure it is the old one, except that a folder which cannot be synced leaves the new file
 * in place and only its lasting in doubt.
 *
 * The temporary file ".<name>.new" beside the file has a fixed name, so that what a kill leaves
 * behind is reused and does not pile up on flash. Two callers must not replace one file at once.
 */
[[nodiscard]] int replace_file(const std::string& path, std::string_view content, mode_t new_mode);

} // namespace zendry

#endif
