#include "platform/log.h"
#include "platform/scoped_fd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

// Two threads write into a pipe that takes far less than a line, and the reader is slow.
TEST(Log, LinesOfAnyLengthStayWholeAndApart) {
    constexpr size_t LENGTH = 300000;
    constexpr int LINES = 20;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const ScopedFd reading(ends[0]);
    const ScopedFd before(dup(STDOUT_FILENO));
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    std::thread formatting([] {
        for (int i = 0; i < LINES; ++i) {
            qv_log("%s\n", std::string(LENGTH, 'f').c_str());
        }
    });
    std::thread handing_over([] {
        for (int i = 0; i < LINES; ++i) {
            qv_log_text(std::string(7, 't'), std::string(LENGTH - 7, 't'));
        }
    });
    std::string log;
    char piece[50000];
    while (log.size() < 2 * LINES * (LENGTH + 1)) {
        log.append(piece, static_cast<size_t>(read(reading.get(), piece, sizeof piece)));
    }
    formatting.join();
    handing_over.join();
    dup2(before.get(), STDOUT_FILENO);
    for (size_t at = 0; at < log.size(); at += LENGTH + 1) {
        EXPECT_EQ(log.find_first_not_of(log[at], at), at + LENGTH);
        EXPECT_EQ(log[at + LENGTH], '\n');
    }
}

} // namespace
