// Downloads from a server of the test's own. They write "/tmp/qv_firmware.img" and run only where
// /tmp is not the host's.
#include "platform/download_stop.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* IMAGE = "/tmp/qv_firmware.img";
constexpr const char* PARTIAL = "/tmp/qv_firmware.img.part";

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
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        ASSERT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        ASSERT_EQ(listen(listener_.get(), 4), 0);
        ASSERT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    // Asks for a file, with stale ones in its place, and answers that request; cuts the line behind
    // an answer, and waits without one for the other side to close.
    int32_t request(const char* name, const std::string& answer) {
        std::ofstream(IMAGE) << "stale";
        std::ofstream(PARTIAL) << "stale";
        std::thread server([&] {
            const ScopedFd connection(accept(listener_.get(), nullptr, nullptr));
            char byte = 0;
            request_.clear();
            while (!request_.ends_with("\r\n\r\n") && recv(connection.get(), &byte, 1, 0) == 1) {
                request_.push_back(byte);
            }
            if (answer.empty()) {
                recv(connection.get(), &byte, 1, 0);
            }
            send(connection.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        });
        const int32_t result = file_request("127.0.0.1", port_, name);
        server.join();
        EXPECT_FALSE(std::filesystem::exists(PARTIAL));
        EXPECT_EQ(std::filesystem::exists(IMAGE), result == 0);
        return result;
    }

    ScopedFd listener_;
    int32_t port_ = 0;
    std::string request_;
};

TEST_F(Download, OnlyAWholeBodyWithStatus200BecomesTheImage) {
    const struct {
        const char* answer;
        bool good;
    } rows[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nimage", true},
        {"HTTP/1.1 200 OK\r\ntransfer-encoding:Chunked\r\n\r\n5\r\nimage\r\n0\r\n\r\n", true},
        {"HTTP/1.1 103 Early Hints\r\nTransfer-Encoding: chunked\r\n\r\n"
         "HTTP/1.1 200 OK\r\n\r\nimage",
         false},
        {"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nimage", false},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nimage\r\n", false},
        {"HTTP/1.1 200 OK\r\n\r\nimage", false},
        {"HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nerror", false},
        {"HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n",
         false},
        {"image", false},
    };
    // A proxy named by the environment must not be asked; nobody listens there.
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.answer);
        testing::internal::CaptureStdout();
        EXPECT_EQ(request("fw.img", row.answer) == 0, row.good);
        fflush(stdout);
        const std::string log = testing::internal::GetCapturedStdout();
        EXPECT_EQ(log.starts_with("QV_ERR: "), !row.good) << log;
        EXPECT_EQ(std::ranges::count(log, '\n'), row.good ? 0 : 1) << log;
        EXPECT_EQ(content(IMAGE), row.good ? "image" : "");
    }
    const rlimit small{4, RLIM_INFINITY}; // stands in for a full disk
    rlimit usual;
    getrlimit(RLIMIT_FSIZE, &usual);
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_NE(request("fw.img", rows[0].answer), 0);
    setrlimit(RLIMIT_FSIZE, &usual);
}

TEST_F(Download, WhatIsAskedFor) {
    EXPECT_EQ(request("x\r\nH: y/../?#%2f~", "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\ni"), 0);
    EXPECT_TRUE(request_.starts_with("GET /x%0D%0AH%3A%20y%2F..%2F%3F%23%252f~ HTTP/1.1\r\n"));
    const struct {
        const char* server;
        int32_t port;
        const char* name;
    } refused[] = {{"127.0.0.1", 0, "fw"},       {"127.0.0.1", port_ + 65536, "fw"},
                   {"127.0.0.1", 1, "fw"},       {"", port_, "fw"},
                   {"127.0.0.1", port_, ""},     {"u@127.0.0.1", port_, "fw"},
                   {"127.0.0.1/x?", port_, "fw"}};
    for (const auto& row : refused) {
        std::ofstream(IMAGE) << "stale";
        EXPECT_NE(file_request(row.server, row.port, row.name), 0) << row.server << row.port;
        EXPECT_FALSE(std::filesystem::exists(IMAGE));
    }
}

using DownloadMute = Download;

TEST_F(DownloadMute, TheServerHasTenSecondsToAnswer) {
    const Clock::time_point begin = Clock::now();
    EXPECT_NE(request("fw.img", ""), 0);
    EXPECT_GE(Clock::now() - begin, 10s);
    EXPECT_LT(Clock::now() - begin, 12s);
}

// Downloads stay stopped: this needs a process of its own.
using DownloadStop = Download;

TEST_F(DownloadStop, DoesNotWaitForASilentNameServer) {
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
    std::thread stopper([&] {
        pollfd query{name_server.get(), POLLIN, 0};
        EXPECT_EQ(poll(&query, 1, 5000), 1);
        stop = Clock::now();
        qv_stop_downloads();
    });
    EXPECT_NE(file_request("host.example", port_, "fw.img"), 0);
    stopper.join();
    EXPECT_LT(Clock::now() - stop, 1s);
    EXPECT_NE(file_request("127.0.0.1", port_, "fw.img"), 0); // later ones are refused
}

} // namespace
