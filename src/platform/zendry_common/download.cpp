// The firmware image over HTTP, by curl(1): libcurl and what a distribution links it with would
// take 3.5 MB of the agent's memory for good, for a minute of use. The image is written beside its
// name and takes the name only when it is whole, and an older image goes first: the device's memory
// does not hold two. Whole is not yet right: the MD5 sum is for the caller to check, and an image
// that fails the check stays here, where command 1033 flashes it all the same.
#include "platform/download_stop.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "platform/shell.h"
#include "platform/zendry_common.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <string>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* IMAGE_PATH = "/tmp/qv_firmware.img";
constexpr const char* PARTIAL_PATH = "/tmp/qv_firmware.img.part";

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds ANSWER_LIMIT(10); // from the start to the first line of an answer
constexpr int LOOK_INTERVAL_MS = 200;            // between two looks at the clock and the stop
constexpr const char* STOPPED = "downloads are stopped";
constexpr size_t HEADS_MAX = 65536; // bytes of all heads of answers

// Redirects are not followed, and neither a proxy nor a configuration file that the environment
// names has a say. Less than a byte per second for 30 s, and the transfer is given up. Head lines
// come on standard output, a pipe, as they are received; the last line is curl's own. The address
// that follows holds nothing that a shell would change.
constexpr std::string_view CURL =
    "exec curl --disable --silent --path-as-is --globoff --noproxy '*' --proto =http"
    " --speed-limit 1 --speed-time 30 --dump-header - --output /tmp/qv_firmware.img.part"
    " --write-out '\nend: %{http_code} %{errormsg}\n' ";
constexpr std::string_view LAST_LINE = "end: ";

// The partial file, removed at the end unless it has become the image.
class PartialImage {
public:
    PartialImage()
        : fd_(open(PARTIAL_PATH, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                   S_IRUSR | S_IWUSR)),
          pending_(fd_.valid()) {}
    PartialImage(const PartialImage&) = delete;
    PartialImage& operator=(const PartialImage&) = delete;
    ~PartialImage() {
        if (pending_) {
            unlink(PARTIAL_PATH);
        }
    }
    [[nodiscard]] bool valid() const {
        return fd_.valid();
    }
    // Returns 0 or an errno.
    [[nodiscard]] int become_image() {
        if (fsync(fd_.get()) != 0 || rename(PARTIAL_PATH, IMAGE_PATH) != 0) {
            return errno;
        }
        pending_ = false;
        return 0;
    }

private:
    ScopedFd fd_;
    bool pending_;
};

// Without the white space around it.
std::string_view trimmed(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const size_t first = std::min(text.find_first_not_of(BLANKS), text.size());
    const size_t last = text.find_last_not_of(BLANKS) + 1;
    return text.substr(first, std::max(first, last) - first);
}

bool is_same(std::string_view text, std::string_view word) {
    return text.size() == word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
}

// Whether a head line says where the body ends: by its length, or because the last coding is
// chunked (RFC 9112, section 6.3). curl lets no coding pass that it cannot undo.
bool marks_end(std::string_view line) {
    const size_t colon = std::min(line.find(':'), line.size());
    const std::string_view name = line.substr(0, colon);
    return is_same(name, "Content-Length") ||
           (is_same(name, "Transfer-Encoding") &&
            is_same(trimmed(line.substr(line.find_last_of(":,") + 1)), "chunked"));
}

// Why the body is not known to be whole, from what curl printed; empty when it is.
std::string failure_in(std::string_view output) {
    bool end_marked = false;
    std::string_view line;
    for (std::string_view rest = output; !rest.empty();) {
        const size_t end = std::min(rest.find('\n'), rest.size() - 1);
        line = trimmed(rest.substr(0, end));
        end_marked =
            !line.starts_with("HTTP/") && (end_marked || marks_end(line)); // each answer's own
        rest.remove_prefix(end + 1);
    }
    if (!line.starts_with(LAST_LINE)) {
        return "curl cannot be run, or was ended";
    }
    const std::string_view verdict = line.substr(LAST_LINE.size());
    const std::string_view status = verdict.substr(0, verdict.find(' '));
    if (status != "200" && status != "000") {
        return "HTTP status " + std::string(status);
    }
    const std::string_view reason = trimmed(verdict.substr(status.size()));
    // A body that ends with the connection cannot be told from one that was cut short.
    return !reason.empty() || end_marked ? std::string(reason)
                                         : "the server did not tell the length";
}

// Reads what has come within the interval. False at the end of all output.
bool read_more(const ScopedFd& pipe, std::string& output) {
    pollfd readable{pipe.get(), POLLIN, 0};
    if (poll(&readable, 1, LOOK_INTERVAL_MS) <= 0) {
        return true;
    }
    std::array<char, 4096> piece;
    const ssize_t count = read(pipe.get(), piece.data(), piece.size());
    if (count > 0) {
        output.append(piece.data(), static_cast<size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

// Runs the transfer. Returns why the body is not known to be whole; empty when it is.
std::string transfer(const std::string& url) {
    if (qv_downloads_stopped()) {
        return STOPPED;
    }
    const Clock::time_point deadline = Clock::now() + ANSWER_LIMIT;
    const ShellCommand curl((std::string(CURL) + url).c_str());
    std::string output;
    while (!qv_downloads_stopped() && read_more(curl.output(), output)) {
        if (output.empty() && Clock::now() >= deadline) {
            return "no answer within 10 s";
        }
        if (output.size() > HEADS_MAX) {
            return "the answer's head is too long";
        }
    }
    return qv_downloads_stopped() ? STOPPED : failure_in(output);
}

// A host name or IPv4 address: nothing in it can add a user, a path or another port.
bool is_plain_host(std::string_view host) {
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789.-_";
    return !host.empty() && host.find_first_not_of(ALLOWED) == std::string_view::npos;
}

// One segment of a path, which no byte of the text can leave: RFC 3986's unreserved characters
// stand, all others are escaped.
std::string escaped(std::string_view text) {
    std::string segment;
    for (const char character : text) {
        if (strchr("-._~", character) != nullptr ||
            isalnum(static_cast<unsigned char>(character)) != 0) {
            segment += character;
        } else {
            std::array<char, 4> code;
            snprintf(code.data(), code.size(), "%%%02X", static_cast<unsigned char>(character));
            segment += code.data();
        }
    }
    return segment;
}

bool remove_if_there(const char* path) {
    return unlink(path) == 0 || errno == ENOENT;
}

// Fetches url to the image's place. Returns the reason of a failure; empty when it is there.
std::string fetch(const std::string& url) {
    PartialImage partial;
    if (!partial.valid()) {
        return strerror(errno);
    }
    if (std::string reason = transfer(url); !reason.empty()) {
        return reason;
    }
    const int error = partial.become_image();
    return error != 0 ? strerror(error) : "";
}

int32_t refuse(const char* reason) {
    qv_log("QV_ERR: firmware download refused: %s\n", reason);
    return -1;
}

} // namespace

int32_t file_request(const char* server, int32_t port, const char* file_name) {
    // Two transfers at once would write into each other's partial file.
    static std::mutex downloading;
    const std::unique_lock<std::mutex> alone(downloading, std::try_to_lock);
    if (!alone.owns_lock()) {
        return refuse("another one is under way");
    }
    if (!remove_if_there(IMAGE_PATH) || !remove_if_there(PARTIAL_PATH)) {
        return refuse("the older image cannot be removed");
    }
    if (server == nullptr || !is_plain_host(server)) {
        return refuse("server name not valid");
    }
    if (port < 1 || port > UINT16_MAX) {
        return refuse("port not valid");
    }
    if (file_name == nullptr || *file_name == '\0') {
        return refuse("no file name");
    }
    const std::string url =
        std::string("http://") + server + ":" + std::to_string(port) + "/" + escaped(file_name);
    const std::string reason = fetch(url);
    if (!reason.empty()) {
        qv_log("QV_ERR: firmware download of %s failed: %s\n", url.c_str(), reason.c_str());
    }
    return reason.empty() ? 0 : -1;
}
