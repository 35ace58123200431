#include "platform/zendry_common/uci_session.h"

#include "platform/log.h"
#include "platform/zendry_common/paths.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace zendry {
namespace {

// A second session in the same thread would wait for the first one in vain.
thread_local bool thread_has_session = false;

} // namespace

UciSession::UciSession() {
    thread_has_session = true;
}

UciSession::~UciSession() {
    thread_has_session = false;
}

std::unique_ptr<UciSession> UciSession::open() {
    return std::unique_ptr<UciSession>(thread_has_session ? nullptr
                                                          : new (std::nothrow) UciSession());
}

/// False, with a line, when the package cannot be used.
bool UciSession::load(Package& package) {
    int error = package.file.open(package.path);
    if (error == 0) {
        error = package.file.read_content(UCI_MAX_SIZE, package.stored);
    }
    if (error != 0) {
        qv_log("QV_ERR: %s: %s\n", package.path.c_str(),
               error == EWOULDBLOCK ? "locked by another program" : strerror(error));
        return false;
    }
    UciError problem;
    if (!package.document.parse(package.stored, problem)) {
        qv_log("QV_ERR: %s:%u: %s\n", package.path.c_str(), static_cast<unsigned>(problem.line),
               problem.text);
        return false;
    }
    return true;
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
    package->usable = load(*package);
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
    if (const int error = package->file.replace(text); error != 0) {
        qv_log("QV_ERR: %s: not written: %s\n", package->path.c_str(), strerror(error));
        return false;
    }
    package->stored = text;
    return true;
}

} // namespace zendry
