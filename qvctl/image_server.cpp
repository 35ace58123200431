#include "image_server.h"

#include "failure.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvctl {

namespace {

constexpr size_t BLOCK_SIZE = 65536;

struct ResponseDeleter {
    void operator()(MHD_Response* response) const {
        MHD_destroy_response(response);
    }
};
using ResponsePtr = std::unique_ptr<MHD_Response, ResponseDeleter>;

MHD_Result refuse(MHD_Connection* connection, unsigned status) {
    const ResponsePtr nothing(MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT));
    return nothing == nullptr ? MHD_NO : MHD_queue_response(connection, status, nothing.get());
}

} // namespace

ImageServer::ImageServer(const std::string& file, std::string name, uint16_t port)
    : file_(open(file.c_str(), O_RDONLY | O_CLOEXEC)), path_("/" + std::move(name)) {
    struct stat status {};
    if (!file_.valid() || fstat(file_.get(), &status) != 0) {
        throw Failure(USAGE, file + ": " + strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(USAGE, file + ": is no file");
    }
    download_.size = static_cast<uint64_t>(status.st_size);
    for (const unsigned family : {unsigned{MHD_USE_DUAL_STACK}, 0U}) { // a host may lack IPv6
        if (daemon_ == nullptr) {
            daemon_.reset(MHD_start_daemon(MHD_USE_EPOLL | family, port, nullptr, nullptr, answer,
                                           this, MHD_OPTION_END));
        }
    }
    if (daemon_ == nullptr) {
        throw Failure(REFUSED, "--serve: port " + std::to_string(port) + ": " + strerror(errno));
    }
}

uint16_t ImageServer::port() const {
    return MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_BIND_PORT)->port;
}

int ImageServer::descriptor() const {
    return MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

bool ImageServer::work() {
    MHD_run(daemon_.get());
    MHD_UNSIGNED_LONG_LONG wait = 1;
    return MHD_get_timeout(daemon_.get(), &wait) == MHD_YES && wait == 0;
}

MHD_Result ImageServer::answer(void* server, MHD_Connection* connection, const char* url,
                               const char* method, const char* /*version*/, const char* /*upload*/,
                               size_t* /*upload_size*/, void** /*state*/) {
    auto* const self = static_cast<ImageServer*>(server);
    if (url != self->path_) {
        return refuse(connection, MHD_HTTP_NOT_FOUND);
    }
    if (std::string_view(method) != MHD_HTTP_METHOD_GET) {
        return refuse(connection, MHD_HTTP_METHOD_NOT_ALLOWED);
    }
    const ResponsePtr response(MHD_create_response_from_callback(self->download_.size, BLOCK_SIZE,
                                                                 read_block, self, nullptr));
    if (response == nullptr) {
        return MHD_NO;
    }
    self->download_.begun = true;
    self->download_.sent = 0;
    self->download_.begin = Clock::now();
    return MHD_queue_response(connection, MHD_HTTP_OK, response.get());
}

ssize_t ImageServer::read_block(void* server, uint64_t position, char* block, size_t size) {
    auto* const self = static_cast<ImageServer*>(server);
    const ssize_t count = pread(self->file_.get(), block, size, static_cast<off_t>(position));
    if (count <= 0) { // a file that has become shorter cannot be what was announced
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
    self->download_.sent = position + static_cast<uint64_t>(count);
    return count;
}

bool is_on_this_host(int socket) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (getpeername(socket, generic, &length) != 0) {
        return false;
    }
    // Only an address of the host's own can be bound to.
    if (address.ss_family == AF_INET6) {
        reinterpret_cast<sockaddr_in6*>(&address)->sin6_port = 0;
    } else {
        reinterpret_cast<sockaddr_in*>(&address)->sin_port = 0;
    }
    const ScopedFd probe(::socket(address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return probe.valid() && bind(probe.get(), generic, length) == 0;
}

} // namespace qvctl
