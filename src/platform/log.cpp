#include "platform/log.h"

#include "platform/owned_text.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <span>
#include <sys/uio.h>
#include <unistd.h>

namespace {

std::mutex one_line; // a long one reaches a pipe in pieces, and none may get in between

iovec part(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}

/// The parts without what has been written of them.
std::span<iovec> rest(std::span<iovec> parts, size_t written) {
    while (!parts.empty() && written >= parts.front().iov_len) {
        written -= parts.front().iov_len;
        parts = parts.subspan(1);
    }
    if (!parts.empty()) {
        parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + written;
        parts.front().iov_len -= written;
    }
    return parts;
}

void write_parts(int fd, std::span<iovec> parts) {
    const std::lock_guard guard(one_line);
    while (!parts.empty()) {
        const ssize_t written = writev(fd, parts.data(), static_cast<int>(parts.size()));
        if (written > 0) {
            parts = rest(parts, static_cast<size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

void write_text(int fd, std::string_view text) {
    std::array parts{part(text)};
    write_parts(fd, parts);
}

void write_formatted(int fd, const char* format, va_list arguments) {
    std::array<char, 1024> line; // most are shorter
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(line.data(), line.size(), format, arguments);
    if (length >= static_cast<int>(line.size())) {
        const size_t size = static_cast<size_t>(length) + 1;
        if (const OwnedText text = qv_allocate_text(size); text != nullptr) {
            vsnprintf(text.get(), size, format, again);
            write_text(fd, {text.get(), size - 1});
        }
    } else if (length > 0) {
        write_text(fd, {line.data(), static_cast<size_t>(length)});
    }
    va_end(again);
}

} // namespace

void qv_log(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_formatted(STDOUT_FILENO, format, arguments);
    va_end(arguments);
}

void qv_log_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_formatted(STDERR_FILENO, format, arguments);
    va_end(arguments);
}

void qv_log_text(std::string_view beginning, std::string_view text) {
    std::array parts{part(beginning), part(text), part("\n")};
    write_parts(STDOUT_FILENO, parts);
}
