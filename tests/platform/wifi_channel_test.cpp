#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "scratch_root.h"

#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <thread>
#include <vector>

namespace {

constexpr int silent = -1;
constexpr int closing = -2;

// Plays the wifi manager for one exchange, answering with so many bytes 'r', or in silence.
class WifiChannel : public ScratchRoot {
protected:
    ~WifiChannel() override {
        join();
    }
    void listen_at_socket() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = root_ + "/var/run/wifi_manager.sock";
        ASSERT_LT(path.size(), sizeof address.sun_path);
        memcpy(address.sun_path, path.c_str(), path.size());
        unlink(path.c_str());
        listener_.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_.get(), 1), 0);
        const timeval limit{5, 0}; // a caller that never comes fails the test, not the run
        ASSERT_EQ(setsockopt(listener_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
    }
    void answer_with(int length) {
        listen_at_socket();
        peer_ = std::thread([this, length] {
            const ScopedFd connection(accept(listener_.get(), nullptr, nullptr));
            if (length == closing) {
                return;
            }
            char request[64];
            const ssize_t count = recv(connection.get(), request, sizeof request, 0);
            request_.assign(request, count > 0 ? static_cast<size_t>(count) : 0);
            const std::string reply(static_cast<size_t>(length > 0 ? length : 0), 'r');
            if (length != silent) {
                send(connection.get(), reply.data(), reply.size(), MSG_NOSIGNAL);
            }
            recv(connection.get(), request, sizeof request, 0); // until the caller has closed
        });
    }
    void join() {
        if (peer_.joinable()) {
            peer_.join();
        }
    }
    // Result of one exchange, made by a thread that takes its connection along when it ends; what
    // the whole buffer held afterwards is in reply_.
    int32_t exchange(uint32_t capacity) {
        reply_.assign(capacity + 4, '.');
        int32_t result = 0;
        std::thread([&] {
            result = qv_ctrl_send_wifi_mgr_msg("\1\4\0\0", 4, reply_.data(), capacity);
        }).join();
        join();
        return result;
    }

    ScopedFd listener_;
    std::thread peer_;
    std::string request_;
    std::string reply_;
};

TEST_F(WifiChannel, RepliesThatFitAreWrittenAndNothingBehindThem) {
    constexpr uint32_t capacity = 27000;
    const struct {
        int length;
        bool good;
    } table[] = {{1, true},      {8, true},  {capacity, true}, {capacity + 1, false},
                 {60000, false}, {0, false}, {closing, false}};
    for (const auto& row : table) {
        answer_with(row.length);
        EXPECT_EQ(exchange(capacity) == 0, row.good) << row.length;
        const size_t written = row.good ? static_cast<size_t>(row.length) : 0;
        EXPECT_EQ(reply_, std::string(written, 'r') + std::string(capacity + 4 - written, '.'));
        EXPECT_EQ(request_, row.length == closing ? "" : std::string("\1\4\0\0", 4));
        request_.clear();
    }
}

// How often the manager answers each request of its connections, one after the other: a connection
// is kept until its other end closes or sends what nobody asked for.
TEST_F(WifiChannel, AConnectionIsKeptAsLongAsItIsGood) {
    listen_at_socket();
    std::thread manager([this] {
        ScopedFd connections[3];
        const std::vector<int> answers[] = {{1, 1, 1}, {1, 2}, {1}};
        for (size_t i = 0; i < std::size(connections); ++i) {
            connections[i].reset(accept(listener_.get(), nullptr, nullptr));
            for (const int times : answers[i]) {
                char request = 0;
                EXPECT_EQ(recv(connections[i].get(), &request, 1, 0), 1);
                for (int sent = 0; sent < times; ++sent) {
                    EXPECT_EQ(send(connections[i].get(), &request, 1, MSG_NOSIGNAL), 1);
                }
            }
            connections[0].reset();
        }
    });
    std::thread([] {
        for (const char request : std::string_view("123456")) {
            char reply = '.';
            EXPECT_EQ(qv_ctrl_send_wifi_mgr_msg(&request, 1, &reply, 1), 0);
            EXPECT_EQ(reply, request);
        }
    }).join();
    manager.join();
}

TEST_F(WifiChannel, FailsAtOnceWithoutAListener) {
    EXPECT_NE(exchange(16), 0);
    listen_at_socket();
    listener_.reset(); // the socket file stays, as after a crash of the manager
    EXPECT_NE(exchange(16), 0);
    EXPECT_EQ(reply_, std::string(20, '.'));
    setenv("ZENDRY_ROOT", std::string(200, 'x').c_str(), 1);
    EXPECT_NE(exchange(16), 0);
}

// One exchange waits for a reply, the others, side by side, for room in a full backlog.
TEST_F(WifiChannel, SilenceEndsAfterFiveSeconds) {
    answer_with(silent);
    const auto start = std::chrono::steady_clock::now();
    std::thread others[3];
    for (std::thread& other : others) {
        other = std::thread([] {
            char reply[4] = "...";
            EXPECT_NE(qv_ctrl_send_wifi_mgr_msg("\1", 1, reply, sizeof reply), 0);
            EXPECT_STREQ(reply, "...");
        });
    }
    EXPECT_NE(exchange(16), 0);
    for (std::thread& other : others) {
        other.join();
    }
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(reply_, std::string(20, '.'));
    EXPECT_GE(taken, std::chrono::milliseconds(4900));
    EXPECT_LT(taken, std::chrono::milliseconds(6000));
}

} // namespace
