// The controller's session with the broker: commands out, reports in. One thread, no callbacks
// outside of send() and next().
#ifndef QVCTL_SESSION_H
#define QVCTL_SESSION_H

#include "options.h"
#include "json/json_scope.h"

#include <deque>
#include <memory>
#include <mosquitto.h>
#include <optional>
#include <poll.h>
#include <span>
#include <string>

namespace qvctl {

/// One message of the report topic.
struct Report {
    std::string text; ///< as received
    JsonPtr root{};   ///< none when it is no JSON object
    int type = -1;
    std::string macaddr{}; ///< empty when it names none

    /// Member of the envelope as text; empty when it is missing.
    std::string member(const char* key) const;
    /// The one member of "data", or none. Borrowed.
    json_object* body() const;
    /// The key of that member.
    std::string data_key() const;
};

class Session {
public:
    /// Connects and subscribes to the reports. Throws Failure when the broker cannot be reached.
    explicit Session(const Options& options);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Publishes a command to a device and returns when it has left for the broker.
    void send(const std::string& macaddr, json_object* command);

    /// The next report, or none at the deadline or as soon as one of the other descriptors is
    /// readable, which their revents then say. Throws Failure when the broker is lost.
    std::optional<Report> next(Clock::time_point deadline, std::span<pollfd> others = {});

    /// Drops the reports that have arrived so far.
    void forget();

private:
    struct ClientDeleter {
        void operator()(mosquitto* client) const {
            mosquitto_destroy(client);
        }
    };
    struct Library {
        Library() {
            mosquitto_lib_init();
        }
        ~Library() {
            mosquitto_lib_cleanup();
        }
    };

    void work(Clock::time_point deadline, std::span<pollfd> others);
    void check(int result) const;
    [[noreturn]] void fail(const std::string& reason) const;

    static void on_connect(mosquitto* client, void* session, int result);
    static void on_subscribe(mosquitto* client, void* session, int, int, const int*);
    static void on_publish(mosquitto* client, void* session, int message);
    static void on_message(mosquitto* client, void* session, const mosquitto_message* message);

    Library library_;
    std::string broker_; ///< host:port
    std::unique_ptr<mosquitto, ClientDeleter> client_;
    std::deque<Report> reports_;
    std::string refusal_;
    bool subscribed_ = false;
    int written_ = 0; ///< message last written to the broker
};

} // namespace qvctl

#endif
