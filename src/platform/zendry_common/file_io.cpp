#include "platform/zendry_common/file_io.h"

#include "platform/scoped_fd.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zendry {
namespace {

/* A new file in a folder, which goes away again unless it has taken the name it was made for. */
class TemporaryFile {
public:
    TemporaryFile(int folder, std::string name) : folder_(folder), name_(std::move(name)) {
        unlinkat(folder_, name_.c_str(), 0);
        fd_.reset(openat(folder_, name_.c_str(),
                         O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
        pending_ = fd_.valid();
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (pending_) {
            const int saved = errno;
            unlinkat(folder_, name_.c_str(), 0);
            errno = saved;
        }
    }

    [[nodiscard]] int fd() const {
        return fd_.get();
    }
    [[nodiscard]] bool become(const char* name) {
        pending_ = renameat(folder_, name_.c_str(), folder_, name) != 0;
        return !pending_;
    }

private:
    int folder_;
    std::string name_;
    ScopedFd fd_;
    bool pending_ = false;
};

/* Gives the new file the mode and owner of the old one, or new_mode when there is none. */
bool take_over_attributes(int folder, const char* name, int fd, mode_t new_mode) {
    struct stat before {};
    struct stat now {};
    if (fstatat(folder, name, &before, 0) != 0) {
        return errno == ENOENT && fchmod(fd, new_mode) == 0;
    }
    if (fstat(fd, &now) != 0) {
        return false;
    }
    // Only root may give a file away, and only then is there anything to give.
    if ((before.st_uid != now.st_uid || before.st_gid != now.st_gid) &&
        fchown(fd, before.st_uid, before.st_gid) != 0) {
        return false;
    }
    return fchmod(fd, before.st_mode & 07777U) == 0;
}

} // namespace

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

int read_file(const std::string& path, size_t limit, std::string& content) {
    // O_NONBLOCK: a fifo put in the file's place must not hold the caller.
    const ScopedFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat about {};
    if (!file.valid() || fstat(file.get(), &about) != 0) {
        return errno;
    }
    if (!S_ISREG(about.st_mode)) {
        return EINVAL;
    }
    content.clear();
    for (;;) {
        char block[4096];
        const ssize_t count = read(file.get(), block, sizeof block);
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

int replace_file(const std::string& path, std::string_view content, mode_t new_mode) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return EINVAL;
    }
    const std::string name = path.substr(slash + 1);
    const ScopedFd folder(
        open(path.substr(0, slash + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.valid()) {
        return errno;
    }
    TemporaryFile file(folder.get(), "." + name + ".new");
    if (file.fd() < 0) {
        return errno;
    }
    if (const int error = write_all(file.fd(), content); error != 0) {
        return error;
    }
    if (!take_over_attributes(folder.get(), name.c_str(), file.fd(), new_mode) ||
        fsync(file.fd()) != 0 || !file.become(name.c_str())) {
        return errno;
    }
    // Without this the rename itself might not outlast a power cut.
    return fsync(folder.get()) == 0 ? 0 : errno;
}

} // namespace zendry
