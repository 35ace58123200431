#include "file.h"

#include "failure.h"
#include "platform/scoped_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qvctl {

std::string read_file(const std::string& name) {
    const FilePtr opened(name == "-" ? nullptr : fopen(name.c_str(), "re"));
    FILE* const file = name == "-" ? stdin : opened.get();
    if (file == nullptr) {
        throw Failure(USAGE, name + ": " + strerror(errno));
    }
    std::string text;
    char chunk[4096];
    size_t size = 0;
    while ((size = fread(chunk, 1, sizeof chunk, file)) > 0) {
        text.append(chunk, size);
    }
    if (ferror(file) != 0) {
        throw Failure(USAGE, name + ": " + strerror(errno));
    }
    return text;
}

} // namespace qvctl
