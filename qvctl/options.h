// What the command line says.
#ifndef QVCTL_OPTIONS_H
#define QVCTL_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qvctl {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

inline Clock::time_point after(double seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
}

/// Options that every verb knows.
struct Options {
    std::string host = "localhost";
    std::optional<int> port; ///< none: the usual one, with TLS or without
    std::string username;
    std::string password;
    std::string password_file; ///< its first line is the password, unless that is given
    std::string cafile;        ///< authorities that the broker's certificate may be of; else no TLS
    std::string cert;          ///< of the controller itself, PEM, as its key
    std::string key;
    bool insecure = false; ///< the certificate need not name the host
    std::string device; ///< lower-case MAC address, or the digits it ends in; empty: the only one
    std::optional<double> timeout; ///< seconds until an answer must be there
    double listen = 12;            ///< seconds in which every device must have spoken
    bool json = false;
    bool no_color = false;
    bool show_secrets = false;

    double timeout_or(double usual) const {
        return timeout.value_or(usual);
    }
    int broker_port() const {
        return port.value_or(cafile.empty() ? 1883 : 8883);
    }
    /// Whether the broker is to know the controller, and so may give it rights of its own.
    bool names_controller() const {
        return !username.empty() || !cert.empty();
    }
    /// Whether `device` is a whole MAC address.
    bool names_device() const;
    /// Whether it may be that device, given by its MAC address.
    bool means(const std::string& macaddr) const;
};

/// A MAC address, or its last digits, in any notation (02:11:22:33:44:55, 0211.2233.4455, 44-55)
/// as Options hold it: in lower case, an address with colons and an ending without. Empty when it
/// is neither.
std::string normal_device(const std::string& typed);

/// Arguments of the verbs.
struct Arguments {
    std::vector<std::string> settings; ///< of set: an entry, a file, key=value words
    std::string text;                  ///< notes, passthrough, clock, or the index of a MAC list
    std::string image;                 ///< name on the download server, or a local file
    std::string md5sum;                ///< empty: that of the local file
    std::string served;                ///< local file to serve to the device, or none
    std::optional<int> server_port;
    bool all = false;            ///< every member of a list's entries
    bool replace = false;        ///< empty what is not given
    int confirm_s = 120;         ///< until a network change is taken back; 0: never
    bool remove = false;         ///< delete MAC lists
    bool discard_config = false; ///< with a flashing
    bool reboot = false;         ///< after a flashing
    bool wait_back = true;       ///< until the device runs what was flashed
    bool background = false;     ///< upgrade beside the device's other work
    std::optional<int> count;    ///< reports of watch, screens of top
    double interval = 5;         ///< seconds between two questions of top
};

} // namespace qvctl

#endif
