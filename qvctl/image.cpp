#include "image.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <md5.h>
#include <memory>

namespace qvctl {

namespace {

struct TextDeleter {
    void operator()(char* text) const {
        free(text);
    }
};

std::string md5_of_file(const std::string& file) {
    const std::unique_ptr<char, TextDeleter> sum(MD5File(file.c_str(), nullptr));
    if (sum == nullptr) {
        throw Failure(USAGE, file + ": " + strerror(errno));
    }
    return sum.get();
}

std::string base_name(const std::string& file) {
    return file.substr(file.rfind('/') + 1); // npos + 1 is 0
}

} // namespace

Image image_of(const Arguments& arguments) {
    const std::string& file = arguments.served.empty() ? arguments.image : arguments.served;
    if (file.empty()) {
        throw Failure(USAGE, "upgrade: IMAGE or --serve FILE is required");
    }
    if (arguments.served.empty() && !arguments.md5sum.empty()) {
        return {.name = arguments.image, .md5sum = arguments.md5sum};
    }
    const bool is_named = !arguments.served.empty() && !arguments.image.empty();
    const std::string name = is_named ? arguments.image : base_name(file);
    if (name.empty()) {
        throw Failure(USAGE, file + ": names no file");
    }
    return {.name = name,
            .md5sum = arguments.md5sum.empty() ? md5_of_file(file) : arguments.md5sum};
}

std::string url_segment(const std::string& text) {
    constexpr std::string_view PLAIN =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string segment;
    for (const char character : text) {
        if (PLAIN.find(character) != PLAIN.npos) {
            segment += character;
            continue;
        }
        char escaped[4];
        snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(character));
        segment += escaped;
    }
    return segment;
}

} // namespace qvctl
