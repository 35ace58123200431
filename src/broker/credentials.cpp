#include "broker/credentials.h"

#include "platform/device_paths.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "platform/scoped_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>

namespace {

constexpr mode_t RIGHTS_OF_OTHERS = S_IRWXG | S_IRWXO;

bool leads_nowhere(const char* path) {
    struct stat entry {};
    return lstat(path, &entry) == 0 && stat(path, &entry) != 0;
}

/// A link that leads nowhere is present, and so is what cannot be looked at, and all files of a
/// folder that is such a link: where a file was meant to be, the broker link must not be less than
/// that file asks for.
CredentialFile find(const char* name) {
    CredentialFile file;
    snprintf(file.path.data(), file.path.size(), "%s/%s", qv_agent_folder(), name);
    struct stat entry {};
    file.present =
        lstat(file.path.data(), &entry) == 0 || errno != ENOENT || leads_nowhere(qv_agent_folder());
    return file;
}

bool goes_with(const CredentialFile& file, const CredentialFile& needed) {
    if (file.present && !needed.present) {
        qv_log("QV_ERR: %s without %s\n", file.path.data(), needed.path.data());
        return false;
    }
    return true;
}

bool readable(const CredentialFile& file, mode_t forbidden = 0) {
    if (!file.present) {
        return true;
    }
    const char* const path = file.path.data();
    const ScopedFd opened(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC)); // it may be a pipe
    struct stat entry {};
    if (!opened.valid() || fstat(opened.get(), &entry) != 0 || !S_ISREG(entry.st_mode)) {
        qv_log("QV_ERR: %s is not a file that can be read\n", path);
        return false;
    }
    if ((entry.st_mode & forbidden) != 0) {
        qv_log("QV_ERR: %s is open to others than its owner\n", path);
        return false;
    }
    return true;
}

/// One line without its end; false when it is empty, missing or too long.
bool read_line(FILE* file, std::span<char> line) {
    if (fgets(line.data(), static_cast<int>(line.size()), file) == nullptr) {
        return false;
    }
    char* const end = strchr(line.data(), '\n');
    if (end == nullptr) {
        return feof(file) != 0;
    }
    *end = '\0';
    return end != line.data();
}

} // namespace

Credentials qv_find_credentials() {
    return {.authority = find("ca.pem"),
            .certificate = find("client.pem"),
            .key = find("client.key"),
            .login = find("login")};
}

bool qv_has_credentials(const Credentials& files) {
    return files.authority.present || files.certificate.present || files.key.present ||
           files.login.present;
}

bool qv_check_credentials(const Credentials& files) {
    return goes_with(files.certificate, files.authority) && goes_with(files.key, files.authority) &&
           goes_with(files.certificate, files.key) && goes_with(files.key, files.certificate) &&
           readable(files.authority) && readable(files.certificate) &&
           readable(files.key, RIGHTS_OF_OTHERS) && readable(files.login, RIGHTS_OF_OTHERS);
}

bool qv_read_login(const CredentialFile& file, Login& login) {
    const FilePtr opened(fopen(file.path.data(), "re"));
    if (opened == nullptr || !read_line(opened.get(), login.user) ||
        !read_line(opened.get(), login.password)) {
        qv_log("QV_ERR: %s has no user name and password of at most %zu characters\n",
               file.path.data(), login.user.size() - 2);
        return false;
    }
    return true;
}
