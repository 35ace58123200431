// The terminal: a password without echo, keys without line ends, a screen of its own, and the
// signals that end a display, as a descriptor to wait for.
#ifndef QVCTL_TERMINAL_H
#define QVCTL_TERMINAL_H

#include "platform/scoped_fd.h"

#include <string>
#include <termios.h>

namespace qvctl {

/// A password: asked for twice on a terminal, without echo, or one line of standard input. Throws
/// Failure when there is none, or when the two differ.
std::string read_password();

/// Columns and lines of the terminal, 80 and 24 when it does not say.
struct ScreenSize {
    size_t columns = 80;
    size_t lines = 24;

    bool operator==(const ScreenSize&) const = default;
};
ScreenSize screen_size();

/// Whether the terminal, by its name, takes no control sequences.
bool is_dumb_terminal();

/// Throws Failure when what was printed could not be written, as on a full disk.
void check_output();

/// While it lives, SIGINT, SIGTERM, SIGHUP and SIGWINCH are read from a descriptor.
class SignalDescriptor {
public:
    SignalDescriptor();
    ~SignalDescriptor();
    SignalDescriptor(const SignalDescriptor&) = delete;
    SignalDescriptor& operator=(const SignalDescriptor&) = delete;

    int descriptor() const {
        return descriptor_.get();
    }
    /// Takes the signals that have come. Returns whether one of them asks to end.
    bool asks_to_end() const;

private:
    ScopedFd descriptor_;
};

/// While it lives, standard input gives single keys and standard output is a screen of its own
/// without cursor. Does nothing where they are no terminals, or dumb ones.
class KeyScreen {
public:
    KeyScreen();
    ~KeyScreen();
    KeyScreen(const KeyScreen&) = delete;
    KeyScreen& operator=(const KeyScreen&) = delete;

    bool has_keys() const {
        return has_keys_;
    }
    bool has_screen() const {
        return has_screen_;
    }

private:
    bool has_screen_;
    bool has_keys_;
    termios before_{};
};

} // namespace qvctl

#endif
