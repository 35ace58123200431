// A file that other programs edit too: locked against them, and replaced in one step.
#ifndef QV_PLATFORM_ZENDRY_COMMON_LOCKED_FILE_H
#define QV_PLATFORM_ZENDRY_COMMON_LOCKED_FILE_H

#include "platform/scoped_fd.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zendry {

/// Holds flock(LOCK_EX) on the file itself, which is what other programs lock. flock belongs to the
/// opened file, so it keeps threads apart as well as processes, and the kernel drops it with a
/// process that is killed. Whoever waited for it must look whether the name still means the file
/// that was locked, because an edit puts another file in its place.
///
/// Every function returns 0 or the errno of what failed.
class LockedFile {
public:
    LockedFile() = default;
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    /// Takes a file that was made only to be locked, and is still empty, away again.
    ~LockedFile();

    /// Opens and locks a regular file; a symbolic link stands for its target. A file that is not
    /// there is made, empty and the owner's alone, so that there is something to lock; where none
    /// may be made it reads as empty, unlocked, and replace fails with EROFS or EACCES. EWOULDBLOCK
    /// when somebody else has kept the lock for 5 seconds, or for 200 ms after they had kept this
    /// file for so long.
    [[nodiscard]] int open(const std::string& name);

    /// The content as it was locked, at most limit bytes (EFBIG above it). Once, before replace.
    [[nodiscard]] int read_content(size_t limit, std::string& content);

    /// Puts content in place of the file, which keeps its mode and owner, and stays locked. A kill
    /// or a power cut at any moment leaves the old or the new file, whole; after a failure it is
    /// the old one, except that a folder which cannot be synced leaves the new file in place and
    /// only its lasting in doubt.
    ///
    /// The temporary file ".<name>.new" beside the file has a fixed name, so that what a kill
    /// leaves behind is reused and does not pile up on flash.
    [[nodiscard]] int replace(std::string_view content);

private:
    int open_or_make(const std::string& name);
    int try_open(const std::string& name);

    ScopedFd fd_;
    bool made_ = false; ///< by open, which found none, and not replaced since
    int not_made_ = 0;  ///< why open could not make it
    std::string path_;  ///< behind every symbolic link
};

} // namespace zendry

#endif
