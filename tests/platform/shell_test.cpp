#include "platform/shell.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::string output_of(const char* command) {
    std::array<char, 4096> output{};
    EXPECT_EQ(qv_read_shell(command, output), 0) << command;
    return output.data();
}

/// For the length of a test: what a careless library or a parent leaves behind.
class HostileProcess {
public:
    HostileProcess() {
        for (const int number : {SIGPIPE, SIGHUP, SIGQUIT, SIGRTMIN + 3}) {
            signal(number, SIG_IGN);
        }
        sigset_t blocked;
        sigfillset(&blocked);
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
        for (const int target : {50, 500}) {
            descriptors_.push_back(fcntl(STDERR_FILENO, F_DUPFD, target)); // not close-on-exec
        }
        descriptors_.push_back(socket(AF_UNIX, SOCK_DGRAM, 0));
    }
    ~HostileProcess() {
        for (const int descriptor : descriptors_) {
            close(descriptor);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        for (const int number : {SIGPIPE, SIGHUP, SIGQUIT, SIGRTMIN + 3}) {
            signal(number, SIG_DFL);
        }
    }

private:
    sigset_t before_{};
    std::vector<int> descriptors_;
};

TEST(Shell, ReturnsTheStatusOfSystem) {
    for (const char* command : {"exit 0", "exit 3", "exit 255", "kill -9 $$", "kill -15 $$",
                                "qv-no-such-command 2>/dev/null", "true | false"}) {
        const std::string quiet = std::string("exec 2>/dev/null; ") + command;
        EXPECT_EQ(qv_run_shell(quiet.c_str()), system(quiet.c_str())) << command;
    }
}

TEST(Shell, TakesNothingAlongAndChangesNothing) {
    const HostileProcess hostile;
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);

    // grep is the shell's child, so what it shows went through both.
    EXPECT_EQ(output_of("grep -E 'Sig(Blk|Ign)' /proc/self/status"),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    // 3 is the folder that ls itself reads.
    EXPECT_EQ(output_of("ls /proc/self/fd | tr '\\n' ' '"), "0 1 2 3 ");
    // A session, and so a process group, of its own: fields 5 and 6, counted behind the name.
    const std::string ids = output_of("set -- $(cat /proc/$$/stat); echo $1 $5 $6; true");
    const std::string own = ids.substr(0, ids.find(' '));
    EXPECT_EQ(ids, own + " " + own + " " + own + "\n");

    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int number = 1; number < NSIG; ++number) {
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << number;
    }
    struct sigaction pipe_action {};
    sigaction(SIGPIPE, nullptr, &pipe_action);
    EXPECT_EQ(pipe_action.sa_handler, SIG_IGN);
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
}

TEST(Shell, ServesSeveralThreadsAtOnce) {
    std::array<std::thread, 8> threads;
    for (int number = 0; std::thread & thread : threads) {
        thread = std::thread([number] {
            for (int round = 0; round < 10; ++round) {
                const std::string command = "exit " + std::to_string(number);
                EXPECT_EQ(qv_run_shell(command.c_str()), number << 8);
            }
        });
        ++number;
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Shell, WithoutChildOrOutput) {
    // As system(3): with ignored children there is no status to wait for.
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(qv_run_shell("exit 3"), -1);
    signal(SIGCHLD, SIG_DFL);
    // The pipe may get a standard descriptor's number.
    const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
    close(STDOUT_FILENO);
    const std::string text = output_of("echo heard");
    dup2(saved, STDOUT_FILENO);
    close(saved);
    EXPECT_EQ(text, "heard\n");
}

} // namespace
