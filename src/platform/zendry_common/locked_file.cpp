#include "platform/zendry_common/locked_file.h"

#include "platform/zendry_common/file_io.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zendry {
namespace {

using Clock = std::chrono::steady_clock; // CLOCK_MONOTONIC: a set clock changes no time limit
using std::chrono::milliseconds;

constexpr milliseconds WAIT_LIMIT{5000};
constexpr milliseconds SHORT_WAIT_LIMIT{200}; // longer than a sound edit takes
constexpr milliseconds RETRY_PAUSE{5};

/// Files whose holder has outlasted a whole wait, and which nobody has had since: waits for those
/// are short, or the several calls of one connection attempt would add up to half a minute.
class HungFiles {
public:
    milliseconds limit(const std::string& name) {
        const std::lock_guard guard(lock_);
        return std::ranges::find(names_, name) != names_.end() ? SHORT_WAIT_LIMIT : WAIT_LIMIT;
    }
    void record(const std::string& name, bool hangs) {
        const std::lock_guard guard(lock_);
        std::erase(names_, name);
        if (hangs) {
            names_.push_back(name);
        }
    }

private:
    std::mutex lock_;
    std::vector<std::string> names_;
};

constinit HungFiles hung_files;

struct Free {
    void operator()(char* text) const {
        free(text);
    }
};

/// Finds the path behind all links; EWOULDBLOCK when name does not mean the opened file.
int resolve(const std::string& name, int fd, std::string& path) {
    const std::unique_ptr<char, Free> found(realpath(name.c_str(), nullptr));
    struct stat named {};
    struct stat held {};
    if (found == nullptr || lstat(found.get(), &named) != 0 || fstat(fd, &held) != 0) {
        return errno == ENOENT ? EWOULDBLOCK : errno;
    }
    path = found.get();
    return named.st_dev == held.st_dev && named.st_ino == held.st_ino ? 0 : EWOULDBLOCK;
}

/// A new file in a folder, which goes away again unless it has taken the name it was made for.
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
    [[nodiscard]] ScopedFd take_fd() {
        return std::move(fd_);
    }

private:
    int folder_;
    std::string name_;
    ScopedFd fd_;
    bool pending_ = false;
};

/// Gives the new file the mode and owner of the old one.
bool take_over_attributes(int old_fd, int new_fd) {
    struct stat before {};
    struct stat now {};
    if (fstat(old_fd, &before) != 0 || fstat(new_fd, &now) != 0) {
        return false;
    }
    // Only root may give a file away, and only then is there anything to give.
    if ((before.st_uid != now.st_uid || before.st_gid != now.st_gid) &&
        fchown(new_fd, before.st_uid, before.st_gid) != 0) {
        return false;
    }
    return fchmod(new_fd, before.st_mode & 07777U) == 0;
}

} // namespace

LockedFile::~LockedFile() {
    struct stat about {};
    std::string path;
    // Under the lock: whoever waits for it looks for the name again.
    if (made_ && fstat(fd_.get(), &about) == 0 && about.st_size == 0 &&
        resolve(path_, fd_.get(), path) == 0) {
        unlink(path.c_str());
    }
}

/// 0 with no file when there is none and none can be made; whoever could make it is not kept out.
int LockedFile::open_or_make(const std::string& name) {
    // O_NONBLOCK: a fifo put in the file's place must not hold the caller.
    constexpr int FLAGS = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
    fd_.reset(::open(name.c_str(), FLAGS));
    if (!fd_.valid() && errno == ENOENT) {
        fd_.reset(::open(name.c_str(), FLAGS | O_CREAT, S_IRUSR | S_IWUSR));
        made_ = fd_.valid();
        not_made_ = made_ ? 0 : errno;
        return not_made_ == EROFS || not_made_ == EACCES ? 0 : not_made_;
    }
    return fd_.valid() ? 0 : errno;
}

/// EWOULDBLOCK when the lock cannot be had now, or is one on a file that has been replaced.
int LockedFile::try_open(const std::string& name) {
    struct stat about {};
    if (const int error = open_or_make(name); error != 0 || !fd_.valid()) {
        return error;
    }
    if (fstat(fd_.get(), &about) != 0) {
        return errno;
    }
    if (!S_ISREG(about.st_mode)) {
        return S_ISDIR(about.st_mode) ? EISDIR : EINVAL;
    }
    return flock(fd_.get(), LOCK_EX | LOCK_NB) == 0 ? resolve(name, fd_.get(), path_) : errno;
}

int LockedFile::open(const std::string& name) {
    const Clock::time_point deadline = Clock::now() + hung_files.limit(name);
    int error = try_open(name);
    while ((error == EWOULDBLOCK || error == EINTR) && Clock::now() < deadline) {
        std::this_thread::sleep_for(RETRY_PAUSE);
        error = try_open(name);
    }
    hung_files.record(name, error == EWOULDBLOCK);
    if (error != 0) {
        fd_.reset();
    }
    return error;
}

int LockedFile::read_content(size_t limit, std::string& content) {
    content.clear();
    return fd_.valid() ? read_all(fd_.get(), limit, content) : 0;
}

int LockedFile::replace(std::string_view content) {
    if (!fd_.valid()) {
        return not_made_;
    }
    const size_t name_at = path_.rfind('/') + 1; // the path is absolute
    const std::string name = path_.substr(name_at);
    const ScopedFd folder(
        ::open(path_.substr(0, name_at).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.valid()) {
        return errno;
    }
    TemporaryFile file(folder.get(), "." + name + ".new");
    // Locked before it has the name: nobody gets in between two replacements.
    if (file.fd() < 0 || flock(file.fd(), LOCK_EX | LOCK_NB) != 0) {
        return errno;
    }
    if (const int error = write_all(file.fd(), content); error != 0) {
        return error;
    }
    if (!take_over_attributes(fd_.get(), file.fd()) || fsync(file.fd()) != 0 ||
        !file.become(name.c_str())) {
        return errno;
    }
    fd_ = file.take_fd();
    made_ = false;
    // Without this the rename itself might not outlast a power cut.
    return fsync(folder.get()) == 0 ? 0 : errno;
}

} // namespace zendry
