#include "terminal.h"

#include "failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qvctl {

namespace {

/// While it lives, the terminal shows nothing of what is typed. No key stops the program or makes
/// it dump core, which would leave the terminal so; Ctrl-C is a signal that a descriptor takes.
class NoEcho {
public:
    NoEcho() {
        tcgetattr(STDIN_FILENO, &before_);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        quiet.c_cc[VSUSP] = _POSIX_VDISABLE;
        quiet.c_cc[VQUIT] = _POSIX_VDISABLE;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~NoEcho() {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;

private:
    termios before_{};
};

std::string read_line() {
    std::string line;
    int character = 0;
    while ((character = getchar()) != EOF && character != '\n') {
        line += static_cast<char>(character);
    }
    if (character == EOF && line.empty()) {
        throw Failure(USAGE, "no password given");
    }
    return line;
}

/// A terminal is readable when a whole line has been typed.
std::string prompted_line(const char* prompt, const SignalDescriptor& signals) {
    fputs(prompt, stderr);
    std::array waits = {pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                        pollfd{.fd = signals.descriptor(), .events = POLLIN, .revents = 0}};
    while (waits[0].revents == 0) {
        poll(waits.data(), waits.size(), -1);
        if (waits[1].revents != 0 && signals.asks_to_end()) {
            fputc('\n', stderr);
            throw Failure(REFUSED, "interrupted");
        }
    }
    std::string line = read_line();
    fputc('\n', stderr);
    return line;
}

sigset_t ending_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
        sigaddset(&signals, number);
    }
    return signals;
}

void write_now(const char* text) {
    fputs(text, stdout);
    fflush(stdout);
}

} // namespace

std::string read_password() {
    if (isatty(STDIN_FILENO) == 0) {
        return read_line();
    }
    const SignalDescriptor signals;
    const NoEcho no_echo;
    std::string password = prompted_line("New password for admin: ", signals);
    if (prompted_line("Again: ", signals) != password) {
        throw Failure(REFUSED, "password: the two are not the same");
    }
    return password;
}

ScreenSize screen_size() {
    ScreenSize size;
    winsize window{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0) {
        size.columns = window.ws_col > 0 ? window.ws_col : size.columns;
        size.lines = window.ws_row > 0 ? window.ws_row : size.lines;
    }
    return size;
}

bool is_dumb_terminal() {
    const char* const name = getenv("TERM");
    return name != nullptr && std::string_view(name) == "dumb";
}

void check_output() {
    if (fflush(stdout) != 0 || ferror(stdout) != 0) { // whose reason stands since the failed write
        throw Failure(REFUSED, std::string("standard output: ") + strerror(errno));
    }
}

SignalDescriptor::SignalDescriptor() {
    const sigset_t signals = ending_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    descriptor_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor_.valid()) {
        throw Failure(REFUSED, "no descriptor for signals");
    }
}

SignalDescriptor::~SignalDescriptor() {
    descriptor_.reset();
    const sigset_t signals = ending_signals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

bool SignalDescriptor::asks_to_end() const {
    bool ends = false;
    signalfd_siginfo signal{};
    while (read(descriptor_.get(), &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) {
        ends = ends || signal.ssi_signo != SIGWINCH;
    }
    return ends;
}

KeyScreen::KeyScreen()
    : has_screen_(isatty(STDOUT_FILENO) != 0 && !is_dumb_terminal()),
      has_keys_(has_screen_ && isatty(STDIN_FILENO) != 0) {
    if (has_keys_) {
        tcgetattr(STDIN_FILENO, &before_);
        termios keys = before_;
        keys.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
    if (has_screen_) {
        write_now("\033[?1049h\033[?25l");
    }
}

KeyScreen::~KeyScreen() {
    if (has_screen_) {
        write_now("\033[?25h\033[?1049l");
    }
    if (has_keys_) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
}

} // namespace qvctl
