#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "scratch_root.h"

#include <cstring>
#include <semaphore>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <vector>

namespace {

using WifiChannel = ScratchRoot;

// How often the manager answers each request of its connections, one after the other: a connection
// is kept until its other end closes or sends what nobody asked for.
TEST_F(WifiChannel, AConnectionIsKeptAsLongAsItIsGood) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = root_ + "/var/run/wifi_manager.sock";
    memcpy(address.sun_path, path.c_str(), path.size());
    const ScopedFd listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 1), 0);
    std::counting_semaphore<> settled(0); // nothing more happens before the next request
    std::thread manager([&] {
        ScopedFd connections[3];
        const std::vector<int> answers[] = {{1, 1, 1}, {1, 2}, {1}};
        for (size_t i = 0; i < std::size(connections); ++i) {
            connections[i].reset(accept(listener.get(), nullptr, nullptr));
            for (size_t k = 0; k < answers[i].size(); ++k) {
                char request = 0;
                EXPECT_EQ(recv(connections[i].get(), &request, 1, 0), 1);
                for (int sent = 0; sent < answers[i][k]; ++sent) {
                    EXPECT_EQ(send(connections[i].get(), &request, 1, MSG_NOSIGNAL), 1);
                }
                if (k + 1 == answers[i].size()) {
                    connections[0].reset();
                }
                settled.release();
            }
        }
    });
    std::thread([&] {
        for (const char request : std::string_view("123456")) {
            char reply = '.';
            EXPECT_EQ(qv_ctrl_send_wifi_mgr_msg(&request, 1, &reply, 1), 0);
            EXPECT_EQ(reply, request);
            settled.acquire();
        }
    }).join();
    manager.join();
}

} // namespace
