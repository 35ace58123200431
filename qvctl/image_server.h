// A download server for one image, without a thread of its own.
#ifndef QVCTL_IMAGE_SERVER_H
#define QVCTL_IMAGE_SERVER_H

#include "options.h"
#include "platform/scoped_fd.h"

#include <cstdint>
#include <memory>
#include <microhttpd.h>
#include <string>

namespace qvctl {

/// How far the last download is.
struct Download {
    uint64_t size = 0; ///< bytes, as the one below
    uint64_t sent = 0;
    bool begun = false;
    Clock::time_point begin{};
};

class ImageServer {
public:
    /// Serves the file under that name, on every address of the host; port 0 is any that is free.
    /// Throws Failure.
    ImageServer(const std::string& file, std::string name, uint16_t port);
    ImageServer(const ImageServer&) = delete;
    ImageServer& operator=(const ImageServer&) = delete;

    uint16_t port() const;
    /// Readable when work() has something to do.
    int descriptor() const;
    /// Does what is due. Returns whether more is at once.
    bool work();
    const Download& download() const {
        return download_;
    }

private:
    struct DaemonStopper {
        void operator()(MHD_Daemon* daemon) const {
            MHD_stop_daemon(daemon);
        }
    };

    static MHD_Result answer(void* server, MHD_Connection* connection, const char* url,
                             const char* method, const char* version, const char* upload,
                             size_t* upload_size, void** state);
    static ssize_t read_block(void* server, uint64_t position, char* block, size_t size);

    ScopedFd file_;
    std::string path_; ///< "/" and the name
    Download download_;
    std::unique_ptr<MHD_Daemon, DaemonStopper> daemon_;
};

/// Whether the other end of a connected socket is an address of this host.
bool is_on_this_host(int socket);

} // namespace qvctl

#endif
