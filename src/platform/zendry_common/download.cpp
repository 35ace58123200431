// The firmware image over HTTP. It is written beside its name and takes the name only when it is
// whole, and an older image goes first: the device's memory does not hold two. Whole is not yet
// right: the MD5 sum is for the caller to check, and an image that fails the check stays here,
// where command 1033 flashes it all the same.
#include "platform/download_stop.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "platform/zendry_common/file_io.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <curl/curl.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <strings.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* IMAGE_PATH = "/tmp/qv_firmware.img";
constexpr const char* PARTIAL_PATH = "/tmp/qv_firmware.img.part";

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds ANSWER_LIMIT(10); // from the first try to connect
constexpr long SLOW_LIMIT_S = 30;     // this long below SLOW_RATE, and the transfer is given up
constexpr long SLOW_RATE = 1;         // bytes per second
constexpr int LOOK_INTERVAL_MS = 200; // between two looks at the clock and the stop
constexpr long HTTP_OK = 200;

/// CURLOPT_QUICK_EXIT since libcurl 7.87; an older one refuses it, and waits for its name server.
constexpr auto QUICK_EXIT = static_cast<CURLoption>(CURLOPTTYPE_LONG + 322);

struct CurlText {
    void operator()(char* text) const {
        curl_free(text);
    }
};

/// The library's global state and one transfer handle; made and ended under the download lock.
class Curl {
public:
    Curl() {
        if (curl_global_init(CURL_GLOBAL_NOTHING) == CURLE_OK) { // no TLS: plain HTTP only
            handle_ = curl_easy_init();
        }
    }
    Curl(const Curl&) = delete;
    Curl& operator=(const Curl&) = delete;
    ~Curl() {
        curl_easy_cleanup(handle_);
        curl_global_cleanup();
    }
    [[nodiscard]] CURL* handle() const {
        return handle_;
    }

private:
    CURL* handle_ = nullptr;
};

struct CurlMultiEnd {
    void operator()(CURLM* multi) const {
        curl_multi_cleanup(multi);
    }
};

/// The partial file, removed at the end unless it has become the image.
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
    [[nodiscard]] int fd() const {
        return fd_.get();
    }
    /// Returns 0 or an errno.
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

struct Transfer {
    CURL* curl = nullptr;
    int fd = -1;
    int write_error = 0;  ///< errno
    bool chunked = false; ///< the body marks its own end
};

long http_status(CURL* curl) {
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    return status;
}

/// Without the white space around it.
std::string_view trimmed(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const size_t first = std::min(text.find_first_not_of(BLANKS), text.size());
    const size_t last = text.find_last_not_of(BLANKS) + 1;
    return text.substr(first, std::max(first, last) - first);
}

bool is_same(std::string_view text, std::string_view word) {
    return text.size() == word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
}

/// Whether the last coding of the final answer is chunked (RFC 9112, section 6.3): every answer
/// begins with its status line, interim ones too. libcurl lets no coding pass that it cannot undo.
size_t on_header(char* data, size_t /*one*/, size_t count, void* user) {
    bool& chunked = static_cast<Transfer*>(user)->chunked;
    const std::string_view line(data, count);
    const size_t colon = line.find(':');
    if (line.starts_with("HTTP/")) {
        chunked = false;
    } else if (colon != line.npos && is_same(line.substr(0, colon), "Transfer-Encoding")) {
        const std::string_view codings = line.substr(colon + 1);
        chunked = is_same(trimmed(codings.substr(codings.rfind(',') + 1)), "chunked");
    }
    return count;
}

/// Anything but the count ends the transfer: no use in an error page, or with a full disk.
size_t on_body(char* data, size_t /*one*/, size_t count, void* user) {
    auto* transfer = static_cast<Transfer*>(user);
    if (http_status(transfer->curl) != HTTP_OK) {
        return 0;
    }
    transfer->write_error = zendry::write_all(transfer->fd, {data, count});
    return transfer->write_error == 0 ? count : 0;
}

/// The tools that the agent runs meanwhile must not inherit the connection. (libcurl's wake-up
/// socket pair is out of reach; it carries no data and ends with the transfer.)
curl_socket_t on_open_socket(void* /*user*/, curlsocktype /*purpose*/, curl_sockaddr* address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// Redirects are not followed, and the address is http: no other scheme can come in.
bool prepare(Transfer& transfer, const std::string& url) {
    CURL* curl = transfer.curl;
    const auto set = [curl](CURLoption option, auto value) {
        return curl_easy_setopt(curl, option, value) == CURLE_OK;
    };
    set(QUICK_EXIT, 1L); // a name server that is silent holds up no end
    return set(CURLOPT_URL, url.c_str()) && set(CURLOPT_PATH_AS_IS, 1L) &&
           set(CURLOPT_PROXY, "") && // not even one that the environment names
           set(CURLOPT_NOSIGNAL, 1L) && set(CURLOPT_FOLLOWLOCATION, 0L) &&
           set(CURLOPT_LOW_SPEED_LIMIT, SLOW_RATE) && set(CURLOPT_LOW_SPEED_TIME, SLOW_LIMIT_S) &&
           set(CURLOPT_OPENSOCKETFUNCTION, &on_open_socket) &&
           set(CURLOPT_HEADERFUNCTION, &on_header) && set(CURLOPT_HEADERDATA, &transfer) &&
           set(CURLOPT_WRITEFUNCTION, &on_body) && set(CURLOPT_WRITEDATA, &transfer);
}

bool is_answered(CURL* curl) {
    curl_off_t first_byte_us = 0;
    curl_easy_getinfo(curl, CURLINFO_STARTTRANSFER_TIME_T, &first_byte_us);
    return first_byte_us != 0;
}

/// As curl_easy_perform, but ends without an answer in time (libcurl limits the connecting and the
/// speed alone) and when downloads are stopped (it would look but once a second).
CURLcode perform(CURL* curl) {
    const std::unique_ptr<CURLM, CurlMultiEnd> multi(curl_multi_init());
    if (multi == nullptr || curl_multi_add_handle(multi.get(), curl) != CURLM_OK) {
        return CURLE_OUT_OF_MEMORY;
    }
    const Clock::time_point deadline = Clock::now() + ANSWER_LIMIT;
    int running = 1;
    while (!qv_downloads_stopped() && (is_answered(curl) || Clock::now() < deadline) &&
           curl_multi_perform(multi.get(), &running) == CURLM_OK && running != 0) {
        curl_multi_poll(multi.get(), nullptr, 0, LOOK_INTERVAL_MS, nullptr);
    }
    int pending = 0;
    const CURLMsg* const message = curl_multi_info_read(multi.get(), &pending);
    const CURLcode result = message != nullptr ? message->data.result : CURLE_OPERATION_TIMEDOUT;
    curl_multi_remove_handle(multi.get(), curl);
    return result;
}

/// Runs the transfer. Returns why the body is not known to be whole; empty when it is.
std::string run(Transfer& transfer) {
    const CURLcode result = perform(transfer.curl);
    if (qv_downloads_stopped()) {
        return "downloads are stopped";
    }
    if (transfer.write_error != 0) {
        return strerror(transfer.write_error);
    }
    if (const long status = http_status(transfer.curl); status != 0 && status != HTTP_OK) {
        return "HTTP status " + std::to_string(status);
    }
    if (result != CURLE_OK) {
        return curl_easy_strerror(result);
    }
    // A body that ends with the connection cannot be told from one that was cut short.
    curl_off_t length = -1;
    curl_easy_getinfo(transfer.curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return length < 0 && !transfer.chunked ? "the server did not tell the length" : "";
}

/// A host name or IPv4 address: nothing in it can add a user, a path or another port.
bool is_plain_host(std::string_view host) {
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789.-_";
    return !host.empty() && host.find_first_not_of(ALLOWED) == std::string_view::npos;
}

bool remove_if_there(const char* path) {
    return unlink(path) == 0 || errno == ENOENT;
}

/// Fetches url to the image's place. Returns the reason of a failure; empty when it is there.
std::string fetch(CURL* curl, const std::string& url) {
    PartialImage partial;
    if (partial.fd() < 0) {
        return strerror(errno);
    }
    Transfer transfer;
    transfer.curl = curl;
    transfer.fd = partial.fd();
    if (!prepare(transfer, url)) {
        return "out of memory";
    }
    if (std::string reason = run(transfer); !reason.empty()) {
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
    const Curl curl;
    const std::unique_ptr<char, CurlText> name(
        curl.handle() != nullptr ? curl_easy_escape(curl.handle(), file_name, 0) : nullptr);
    if (name == nullptr) {
        return refuse("out of memory");
    }
    // Every byte but letters, digits and -._~ is escaped: the name is one segment of the path.
    const std::string url =
        std::string("http://") + server + ":" + std::to_string(port) + "/" + name.get();
    const std::string reason = fetch(curl.handle(), url);
    if (!reason.empty()) {
        qv_log("QV_ERR: firmware download of %s failed: %s\n", url.c_str(), reason.c_str());
    }
    return reason.empty() ? 0 : -1;
}
