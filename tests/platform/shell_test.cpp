#include "platform/shell.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string output_of(const char* command) {
    std::array<char, 4096> output{};
    EXPECT_EQ(qv_read_shell(command, output), 0) << command;
    return output.data();
}

TEST(Shell, ReturnsTheStatusOfSystem) {
    for (const char* command : {"exit 3", "kill -15 $$", "qv-no-such-command 2>/dev/null"}) {
        EXPECT_EQ(qv_run_shell(command), system(command)) << command;
    }
    // As system(3): with ignored children there is no status to wait for.
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(qv_run_shell("exit 3"), -1);
    signal(SIGCHLD, SIG_DFL);
}

/// Whatever a careless library or a parent leaves behind, a command gets none of it.
TEST(Shell, TakesNothingAlongAndChangesNothing) {
    const int ignored[] = {SIGPIPE, SIGHUP, SIGQUIT, SIGRTMIN + 3};
    for (const int number : ignored) {
        signal(number, SIG_IGN);
    }
    sigset_t blocked;
    sigset_t before;
    sigset_t after;
    sigfillset(&blocked);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked); // without those that cannot be
    const int inheritable = fcntl(STDERR_FILENO, F_DUPFD, 500);

    // grep is the shell's child, so what it shows went through both.
    EXPECT_EQ(output_of("grep -E 'Sig(Blk|Ign)' /proc/self/status"),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    // 3 is the folder that ls itself reads.
    EXPECT_EQ(output_of("ls /proc/self/fd | tr '\\n' ' '"), "0 1 2 3 ");
    // A session, and so a process group, of its own: fields 5 and 6, counted behind the name.
    const std::string ids = output_of("set -- $(cat /proc/$$/stat); echo $1 $5 $6; true");
    const std::string own = ids.substr(0, ids.find(' '));
    EXPECT_EQ(ids, own + " " + own + " " + own + "\n");

    close(inheritable);
    pthread_sigmask(SIG_SETMASK, &before, &after);
    for (int number = 1; number < NSIG; ++number) {
        EXPECT_EQ(sigismember(&blocked, number), sigismember(&after, number)) << number;
    }
    for (const int number : ignored) {
        EXPECT_EQ(signal(number, SIG_DFL), SIG_IGN) << number;
    }
}

TEST(Shell, ReadsNoMoreThanThereIsRoomFor) {
    std::array<char, 8> output{};
    output.fill('x');
    EXPECT_EQ(qv_read_shell("printf '1234567'", output), 0);
    EXPECT_STREQ(output.data(), "1234567");
    // The rest is refused, and the command does not go on for ever.
    EXPECT_EQ(qv_read_shell("exec yes", output), SIGPIPE);
    EXPECT_STREQ(output.data(), "y\ny\ny\ny");
    EXPECT_EQ(qv_read_shell("exit 2", output), 2 << 8);
    EXPECT_STREQ(output.data(), "");
    // The pipe may get the standard descriptors' numbers.
    const int saved[] = {fcntl(0, F_DUPFD_CLOEXEC, 10), fcntl(1, F_DUPFD_CLOEXEC, 10)};
    close(0);
    close(1);
    const std::string text = output_of("echo heard");
    for (const int number : {0, 1}) {
        dup2(saved[number], number);
        close(saved[number]);
    }
    EXPECT_EQ(text, "heard\n");
}

} // namespace
