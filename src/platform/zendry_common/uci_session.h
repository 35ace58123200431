// One use of the configuration store, from opening to closing.
#ifndef QV_PLATFORM_ZENDRY_COMMON_UCI_SESSION_H
#define QV_PLATFORM_ZENDRY_COMMON_UCI_SESSION_H

#include "platform/zendry_common/locked_file.h"
#include "platform/zendry_common/uci_document.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zendry {

/// Keeps every package that it has used to itself until it ends. Two sessions that use two packages
/// in opposite order end each other's wait by its limit.
///
/// Belongs to the thread that opened it.
class UciSession {
public:
    /// Null when this thread has a session already.
    static std::unique_ptr<UciSession> open();
    ~UciSession();
    UciSession(const UciSession&) = delete;
    UciSession& operator=(const UciSession&) = delete;

    /// The package as it stands in this session, locked and read at its first use; a missing file
    /// is an empty package. Null when the name is not valid or the file cannot be locked, read or
    /// parsed, which is printed once per session. Owned by the session.
    UciDocument* package(std::string_view name);

    /// Writes the package back if its text has changed. False when that failed, with a line.
    bool commit(std::string_view name);

private:
    struct Package {
        std::string name;
        std::string path; ///< as it is printed
        LockedFile file;
        std::string stored; ///< text of the file
        bool usable = false;
        UciDocument document;
    };

    UciSession();
    Package* find_or_load(std::string_view name);
    static bool load(Package& package);

    std::vector<std::unique_ptr<Package>> packages_;
};

} // namespace zendry

#endif
