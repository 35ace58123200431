// Owner of one file descriptor. The only place where descriptors are closed.
#ifndef QV_PLATFORM_SCOPED_FD_H
#define QV_PLATFORM_SCOPED_FD_H

#include <cerrno>
#include <unistd.h>
#include <utility>

/// Closes its descriptor when it ends; moving hands the descriptor on. Holds -1 when empty.
class ScopedFd {
public:
    ScopedFd() = default;
    explicit ScopedFd(int fd) : fd_(fd) {}
    ScopedFd(ScopedFd&& other) noexcept : fd_(other.release()) {}
    ScopedFd& operator=(ScopedFd&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;
    ~ScopedFd() {
        reset();
    }

    [[nodiscard]] int get() const {
        return fd_;
    }
    [[nodiscard]] bool valid() const {
        return fd_ >= 0;
    }
    /// Gives the descriptor to the caller, who closes it.
    [[nodiscard]] int release() {
        return std::exchange(fd_, -1);
    }
    /// Closes what is held and holds fd instead; errno stays the caller's.
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            const int saved = errno;
            ::close(fd_); // never repeated after EINTR: Linux has freed the number already
            errno = saved;
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

#endif
