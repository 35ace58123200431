#include "terminal.h"

#include "failure.h"

#include <csignal>
#include <cstdio>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qvctl {

namespace {

/// While it lives, the terminal shows nothing of what is typed. An interrupt would leave it so;
/// ISIG is therefore off as well, and Ctrl-C is a character that no password may hold.
class NoEcho {
public:
    NoEcho() {
        tcgetattr(STDIN_FILENO, &before_);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
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

std::string prompted_line(const char* prompt) {
    fputs(prompt, stderr);
    std::string line = read_line();
    fputc('\n', stderr);
    if (line.find('\003') != line.npos) {
        throw Failure(REFUSED, "interrupted");
    }
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
    const NoEcho no_echo;
    std::string password = prompted_line("New password for admin: ");
    if (prompted_line("Again: ") != password) {
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

SignalDescriptor::SignalDescriptor() {
    const sigset_t signals = ending_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        throw Failure(REFUSED, "no descriptor for signals");
    }
}

SignalDescriptor::~SignalDescriptor() {
    close(descriptor_);
    const sigset_t signals = ending_signals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

bool SignalDescriptor::asks_to_end() const {
    bool ends = false;
    signalfd_siginfo signal{};
    while (read(descriptor_, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) {
        ends = ends || signal.ssi_signo != SIGWINCH;
    }
    return ends;
}

KeyScreen::KeyScreen()
    : has_keys_(isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0),
      has_screen_(isatty(STDOUT_FILENO) != 0) {
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
