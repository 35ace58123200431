#include "platform/zendry_common/file_io.h"

#include <cerrno>
#include <unistd.h>

namespace zendry {

int write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return count == 0 ? EIO : errno;
        }
    }
    return 0;
}

int read_all(int fd, size_t limit, std::string& content) {
    content.clear();
    for (;;) {
        char block[4096];
        const ssize_t count = read(fd, block, sizeof block);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count == 0) {
            return 0;
        }
        if (count > 0) {
            content.append(block, static_cast<size_t>(count));
        }
        if (content.size() > limit) {
            return EFBIG;
        }
    }
}

} // namespace zendry
