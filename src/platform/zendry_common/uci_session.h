/*
 * One exclusive use of the configuration store, from opening to closing.
 */
#ifndef QV_PLATFORM_ZENDRY_COMMON_UCI_SESSION_H
#define QV_PLATFORM_ZENDRY_COMMON_UCI_SESSION_H

#include "platform/scoped_fd.h"
#include "platform/zendry_common/uci_document.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zendry {

/*
 * Holds the store's lock for its life. The lock is flock on a file of its own:
 *  - on the configuration file itself it would be lost, because a commit puts another file in
 *    its place;
 *  - flock belongs to the opened file, and each session opens it anew, so one lock keeps threads
 *    apart as well as processes, and the kernel drops it with a process that is killed.
 *
 * Belongs to the thread that opened it.
 */
class UciSession {
public:
    /* Waits for the lock. Null when it cannot be had or this thread has a session already. */
    static std::unique_ptr<UciSession> open();
    ~UciSession();
    UciSession(const UciSession&) = delete;
    UciSession& operator=(const UciSession&) = delete;

    /*
     * The package as it stands in this session, read at its first use; a missing file is an
     * empty package. Null when the name is not valid or the file cannot be read or parsed, which
     * is printed once per session. Owned by the session.
     */
    UciDocument* package(std::string_view name);

    /* Writes the package back if its text has changed. False when that failed, with a line. */
    bool commit(std::string_view name);

private:
    struct Package {
        std::string name;
        std::string path;
        std::string stored; /* text of the file */
        bool usable = false;
        UciDocument document;
    };

    explicit UciSession(ScopedFd lock);
    Package* find_or_load(std::string_view name);

    ScopedFd lock_;
    std::vector<std::unique_ptr<Package>> packages_;
};

} // namespace zendry

#endif
