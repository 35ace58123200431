// A file that others write, and that is asked about with every request.
#ifndef QV_SIMULATOR_WATCHED_FILE_H
#define QV_SIMULATOR_WATCHED_FILE_H

#include "platform/scoped_fd.h"

#include <array>
#include <filesystem>
#include <string>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <utility>

class WatchedFile {
public:
    explicit WatchedFile(std::string path = {}) : path_(std::move(path)) {
        std::error_code error;
        if (std::filesystem::weakly_canonical(path_, error) == path_) { // links lead elsewhere
            watch();
        } else {
            events_.reset();
        }
    }

    [[nodiscard]] const std::string& path() const {
        return path_;
    }

    /// Whether it was made, written and closed, replaced or removed since the last call, as far as
    /// its times tell; one that was never there has not. Costs one small system call, where reading
    /// costs more than a reply.
    bool has_changed() {
        if (events_.valid() && !may_have_changed()) {
            return false;
        }
        struct stat file {};
        if (stat(path_.c_str(), &file) != 0) {
            file = {};
        }
        const State now{file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
        return std::exchange(seen_, now) != now;
    }

private:
    using State = std::tuple<ino_t, off_t, time_t, long>;

    /// Its folder, or without a watch the file each time: a system has few watches, and a fleet
    /// many files.
    void watch() {
        constexpr uint32_t CHANGES =
            IN_CREATE | IN_CLOSE_WRITE | IN_MOVE | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;
        const auto folder = std::filesystem::path(path_).parent_path();
        if (inotify_add_watch(events_.get(), folder.c_str(), CHANGES) < 0) {
            events_.reset();
        }
    }

    /// Whether anything has happened to its folder, or to a file in there.
    bool may_have_changed() {
        bool found = std::exchange(fresh_, false);
        std::array<char, 4096> ignored;
        while (read(events_.get(), ignored.data(), ignored.size()) > 0) {
            found = true;
        }
        if (found) {
            watch(); // the folder may be another one now
        }
        return found;
    }

    std::string path_;
    ScopedFd events_{inotify_init1(IN_NONBLOCK | IN_CLOEXEC)}; ///< of its folder
    bool fresh_ = true;                                        ///< not looked at yet
    State seen_{};
};

#endif
