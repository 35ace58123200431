// Downloads from a server of the test's own. They write "/tmp/qv_firmware.img" and run only where
// /tmp is not the host's.
#include "platform/download_stop.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* image = "/tmp/qv_firmware.img";
constexpr const char* partial = "/tmp/qv_firmware.img.part";

std::string content(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Download : public testing::Test {
protected:
    void SetUp() override {
        if (getenv("QV_SIMULATED_AP") == nullptr) {
            GTEST_SKIP() << "writes /tmp/qv_firmware.img: only in the simulated access point";
        }
        listener_.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        ASSERT_EQ(listen(listener_.get(), 4), 0);
        const timeval limit{5, 0}; // a request that never comes fails the test, not the run
        ASSERT_EQ(setsockopt(listener_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
        ASSERT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    // Takes one request and sends the head of its answer.
    ScopedFd answer(const std::string& head) {
        ScopedFd connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        char byte = 0;
        request_.clear();
        while (!request_.ends_with("\r\n\r\n") && recv(connection.get(), &byte, 1, 0) == 1) {
            request_.push_back(byte);
        }
        send(connection.get(), head.data(), head.size(), MSG_NOSIGNAL);
        return connection;
    }
    // Answers one request with head and then the block so many times over, and cuts the line.
    void serve(const std::string& head, const std::string& block = "", int repeats = 1) {
        server_ = std::thread([=, this] {
            const ScopedFd connection = answer(head);
            for (int i = 0; i < repeats; ++i) {
                send(connection.get(), block.data(), block.size(), MSG_NOSIGNAL);
            }
        });
    }
    // Takes one request, answers with head and then with nothing; calls then_what and waits for
    // the other side to close.
    void stall(
        const std::string& head, const std::function<void()>& then_what = [] {}) {
        server_ = std::thread([=, this] {
            const ScopedFd connection = answer(head);
            then_what();
            const timeval no_limit{};
            setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &no_limit, sizeof no_limit);
            char byte = 0;
            recv(connection.get(), &byte, 1, 0);
        });
    }
    // Takes no more connections than one, which is returned: the system drops all others.
    ScopedFd be_out_of_reach() {
        EXPECT_EQ(listen(listener_.get(), 0), 0);
        ScopedFd connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        EXPECT_EQ(connect(connection.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        return connection;
    }
    int32_t request(const char* name) {
        std::ofstream(image) << "stale";
        std::ofstream(partial) << "stale";
        const int32_t result = file_request("127.0.0.1", port_, name);
        if (server_.joinable()) {
            server_.join();
        }
        EXPECT_FALSE(std::filesystem::exists(partial));
        return result;
    }

    ScopedFd listener_;
    std::thread server_;
    int32_t port_ = 0;
    std::string request_;
};

TEST_F(Download, OnlyAWholeBodyWithStatus200BecomesTheImage) {
    const struct {
        const char* answer;
        const char* image; // null: none
    } table[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nimage", "image"},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nimage\r\n0\r\n\r\n", "image"},
        {"HTTP/1.1 200 OK\r\ntransfer-encoding:Chunked\r\n\r\n5\r\nimage\r\n0\r\n\r\n", "image"},
        {"HTTP/1.1 103 Early Hints\r\nTransfer-Encoding: chunked\r\n\r\n"
         "HTTP/1.1 200 OK\r\n\r\nimage",
         nullptr},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: identity\r\n\r\nimage", nullptr},
        {"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nimage", nullptr},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nimage\r\n", nullptr},
        {"HTTP/1.1 200 OK\r\n\r\nimage", nullptr},
        {"HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nerror", nullptr},
        {"HTTP/1.1 206 Partial Content\r\nContent-Length: 5\r\n\r\nimage", nullptr},
        {"HTTP/1.1 204 No Content\r\n\r\n", nullptr},
        {"HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n",
         nullptr},
        {"HTTP/1.1 200 OK\r\nConte", nullptr},
        {"image", nullptr},
        {"", nullptr},
    };
    // A proxy named by the environment must not be asked; nobody listens there.
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    for (const auto& row : table) {
        serve(row.answer);
        testing::internal::CaptureStdout();
        EXPECT_EQ(request("fw.img") == 0, row.image != nullptr) << row.answer;
        fflush(stdout);
        const std::string log = testing::internal::GetCapturedStdout();
        EXPECT_EQ(log.starts_with("QV_ERR: "), row.image == nullptr) << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), row.image == nullptr ? 1 : 0) << log;
        EXPECT_EQ(std::filesystem::exists(image), row.image != nullptr) << row.answer;
        EXPECT_EQ(content(image), row.image != nullptr ? row.image : "");
    }
}

TEST_F(Download, TheNameIsOneEscapedSegment) {
    const std::pair<const char*, const char*> table[] = {
        {"fw-1.0_a~.img", "fw-1.0_a~.img"},
        {"a b/../c?d#e%2f", "a%20b%2F..%2Fc%3Fd%23e%252f"},
        {"x\r\nHost: y", "x%0D%0AHost%3A%20y"},
        {"..", ".."},
    };
    for (const auto& [name, segment] : table) {
        serve("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n", "i");
        EXPECT_EQ(request(name), 0);
        EXPECT_TRUE(request_.starts_with(std::string("GET /") + segment + " HTTP/1.1\r\n"));
    }
}

TEST_F(Download, RefusedArgumentsLeaveNoStaleImage) {
    const struct {
        const char* server;
        int32_t port;
        const char* name;
    } table[] = {
        {"127.0.0.1", 0, "fw"},        {"127.0.0.1", 65536, "fw"},
        {"127.0.0.1", 1, "fw"},        {"", port_, "fw"},
        {"127.0.0.1", port_, ""},      {"u@127.0.0.1", port_, "fw"},
        {"127.0.0.1/x?", port_, "fw"},
    };
    for (const auto& row : table) {
        std::ofstream(image) << "stale";
        EXPECT_NE(file_request(row.server, row.port, row.name), 0) << row.server << row.port;
        EXPECT_FALSE(std::filesystem::exists(image));
    }
}

TEST_F(Download, AFullDiskIsAFailure) {
    const std::filesystem::space_info space = std::filesystem::space("/tmp");
    if (space.capacity > 256UL * 1024UL * 1024UL) {
        GTEST_SKIP() << "/tmp too large to fill";
    }
    const std::string block(1024UL * 1024UL, 'x');
    const int blocks = static_cast<int>(space.capacity / block.size()) + 1;
    serve("HTTP/1.1 200 OK\r\nContent-Length: " +
              std::to_string(static_cast<size_t>(blocks) * block.size()) + "\r\n\r\n",
          block, blocks);
    EXPECT_NE(request("fw"), 0);
    EXPECT_FALSE(std::filesystem::exists(image));
}

using DownloadMute = Download;

TEST_F(DownloadMute, TheServerHasTenSecondsToAnswer) {
    for (const bool connects : {true, false}) {
        SCOPED_TRACE(connects);
        ScopedFd first;
        if (connects) {
            stall("");
        } else {
            first = be_out_of_reach();
        }
        const Clock::time_point begin = Clock::now();
        EXPECT_NE(request("fw.img"), 0);
        EXPECT_GE(Clock::now() - begin, 10s);
        EXPECT_LT(Clock::now() - begin, 12s);
        EXPECT_FALSE(std::filesystem::exists(image));
    }
}

// Downloads stay stopped: each of these needs a process of its own.
using DownloadStop = Download;
using DownloadStopInLookup = Download;

TEST_F(DownloadStop, EndsTheOneUnderWayWithinASecondAndRefusesLaterOnes) {
    Clock::time_point stop;
    stall("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nimage", [&] {
        std::this_thread::sleep_for(100ms); // the body is read by then
        stop = Clock::now();
        qv_stop_downloads();
    });
    EXPECT_NE(request("fw.img"), 0);
    EXPECT_LT(Clock::now() - stop, 1s);
    EXPECT_FALSE(std::filesystem::exists(image));

    ASSERT_EQ(fcntl(listener_.get(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_NE(request("fw.img"), 0);
    EXPECT_EQ(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC), -1); // nobody was asked
    EXPECT_FALSE(std::filesystem::exists(image));
}

TEST_F(DownloadStopInLookup, DoesNotWaitForASilentNameServer) {
    if (getenv("AP_DIR") == nullptr) {
        GTEST_SKIP() << "needs a simulated access point around it";
    }
    const ScopedFd name_server(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address{AF_INET, htons(53), {htonl(INADDR_LOOPBACK)}, {}};
    ASSERT_EQ(bind(name_server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
    std::ofstream("/tmp/resolv.conf") << "nameserver 127.0.0.1\n";
    ASSERT_EQ(mount("/tmp/resolv.conf", "/etc/resolv.conf", nullptr, MS_BIND, nullptr), 0);
    Clock::time_point stop;
    server_ = std::thread([&] {
        pollfd query{name_server.get(), POLLIN, 0};
        EXPECT_EQ(poll(&query, 1, 5000), 1);
        stop = Clock::now();
        qv_stop_downloads();
    });
    EXPECT_NE(file_request("host.example", port_, "fw.img"), 0);
    server_.join();
    EXPECT_LT(Clock::now() - stop, 1s);
}

} // namespace
