#include "platform/zendry_common/uci_session.h"

#include "platform/zendry_common/file_io.h"
#include "platform/zendry_common/paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>

namespace zendry {
namespace {

// A second session in the same thread would wait for the first one for ever.
thread_local bool thread_has_session = false;

/* The package's file as text; false, with a line, when it is there and cannot be read. */
bool read_package(const std::string& path, std::string& text) {
    const int error = read_file(path, uci_max_size, text);
    if (error != 0 && error != ENOENT) {
        printf("QV_ERR: %s: %s\n", path.c_str(), strerror(error));
        return false;
    }
    return true;
}

} // namespace

UciSession::UciSession(ScopedFd lock) : lock_(std::move(lock)) {
    thread_has_session = true;
}

UciSession::~UciSession() {
    thread_has_session = false;
}

std::unique_ptr<UciSession> UciSession::open() {
    if (thread_has_session) {
        return nullptr;
    }
    const std::string path = rooted("/var/run/zendry_uci.lock");
    ScopedFd lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    int result = lock.valid() ? 0 : -1;
    if (result == 0) {
        do {
            result = flock(lock.get(), LOCK_EX);
        } while (result != 0 && errno == EINTR);
    }
    if (result != 0) {
        printf("QV_ERR: %s: %s\n", path.c_str(), strerror(errno));
        return nullptr;
    }
    return std::unique_ptr<UciSession>(new (std::nothrow) UciSession(std::move(lock)));
}

UciSession::Package* UciSession::find_or_load(std::string_view name) {
    for (const auto& package : packages_) {
        if (package->name == name) {
            return package.get();
        }
    }
    if (!uci_valid_package(name)) {
        return nullptr;
    }
    auto package = std::make_unique<Package>();
    package->name = name;
    package->path = rooted("/etc/config/" + package->name);
    if (read_package(package->path, package->stored)) {
        UciError error;
        package->usable = package->document.parse(package->stored, error);
        if (!package->usable) {
            printf("QV_ERR: %s:%u: %s\n", package->path.c_str(), static_cast<unsigned>(error.line),
                   error.text);
        }
    }
    packages_.push_back(std::move(package));
    return packages_.back().get();
}

UciDocument* UciSession::package(std::string_view name) {
    Package* package = find_or_load(name);
    return package != nullptr && package->usable ? &package->document : nullptr;
}

bool UciSession::commit(std::string_view name) {
    Package* package = find_or_load(name);
    if (package == nullptr || !package->usable) {
        return false;
    }
    const std::string& text = package->document.text();
    if (text == package->stored) {
        return true; // flash wears with every write
    }
    // Packages may hold keys of the wireless networks, so a new one is the owner's alone.
    if (const int error = replace_file(package->path, text, S_IRUSR | S_IWUSR); error != 0) {
        printf("QV_ERR: %s: not written: %s\n", package->path.c_str(), strerror(error));
        return false;
    }
    package->stored = text;
    return true;
}

} // namespace zendry
