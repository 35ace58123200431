// A file that others write, and that is asked about with every request.
#ifndef QV_SIMULATOR_WATCHED_FILE_H
#define QV_SIMULATOR_WATCHED_FILE_H

#include <string>
#include <sys/stat.h>
#include <tuple>
#include <utility>

class WatchedFile {
public:
    explicit WatchedFile(std::string path = {}) : path_(std::move(path)) {}

    [[nodiscard]] const std::string& path() const {
        return path_;
    }

    /// Whether it was made, written, replaced or removed since the last call, as far as its times
    /// tell; one that was never there has not. Costs one system call, where reading costs more than
    /// a reply.
    bool has_changed() {
        struct stat file {};
        if (stat(path_.c_str(), &file) != 0) {
            file = {};
        }
        const State now{file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
        return std::exchange(seen_, now) != now;
    }

private:
    using State = std::tuple<ino_t, off_t, time_t, long>;

    std::string path_;
    State seen_{};
};

#endif
