// The controller's session with the broker: commands out, reports in. One thread, no callbacks
// outside of send() and next().
#ifndef QVCTL_SESSION_H
#define QVCTL_SESSION_H

#include "client.h"
#include "options.h"
#include "report.h"

#include <deque>
#include <mosquitto.h>
#include <optional>
#include <poll.h>
#include <span>
#include <string>

namespace qvctl {

/// What a session does that has lost its broker: what shows devices for hours outlives a restart.
enum class OnLoss { fail, reconnect };

/// When a command counts as sent: acknowledged by the broker (QoS 1), which may refuse it then, or
/// written to the socket (QoS 0), so that no new session sends it a second time.
enum class Delivery : int { written = 0, acknowledged = 1 };

class Session {
public:
    /// Connects and subscribes to the reports. Throws Failure when the broker cannot be reached
    /// in time.
    explicit Session(const Options& options, OnLoss on_loss = OnLoss::fail);
    /// Takes leave of the broker, which may take a moment.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Publishes a command to a device and returns when it is delivered. Throws Failure when it is
    /// not in time, or when the broker says that it must not be; a session that reconnects drops it
    /// instead while there is no broker.
    void send(const std::string& macaddr, json_object* command,
              Delivery delivery = Delivery::acknowledged);

    /// From now on next() returns what anyone sends to that device, too, where the broker lets it
    /// be read.
    void overhear(const std::string& macaddr);

    /// The next report, or none at the deadline, when the broker has been lost or found again, or
    /// as soon as one of the other descriptors is readable, which their revents then say. Throws
    /// Failure when the broker is lost to a session that does not reconnect.
    std::optional<Report> next(Clock::time_point deadline, std::span<pollfd> others = {});

    /// Drops the reports that have arrived so far.
    void forget();

    /// Whether there is a broker.
    bool connected() const {
        return subscribed_;
    }
    /// Its host and port.
    const std::string& broker() const {
        return broker_;
    }
    /// What else may keep reports away, for the end of a message; empty where nothing is hidden.
    /// Rights are: only MQTT 5 tells of a command that is refused, and nothing of a report.
    std::string doubt() const;
    /// The socket to the broker, or -1.
    int socket() const {
        return mosquitto_socket(client_.get());
    }

private:
    struct Library {
        Library() {
            mosquitto_lib_init();
        }
        ~Library() {
            mosquitto_lib_cleanup();
        }
    };

    bool connect(int protocol, Clock::time_point deadline);
    void await_connection(Clock::time_point deadline) const;
    bool is_other_protocol(int result) const;
    void subscribe();
    void work(Clock::time_point deadline, std::span<pollfd> others);
    void connect_again();
    void leave();
    void check(int result);
    [[noreturn]] void fail(const std::string& reason) const;

    static void on_connect(mosquitto* client, void* session, int result);
    static void on_subscribe(mosquitto* client, void* session, int message, int count,
                             const int* granted);
    static void on_publish(mosquitto* client, void* session, int message, int reason,
                           const mosquitto_property* properties);
    static void on_log(mosquitto* client, void* session, int level, const char* text);
    static void on_message(mosquitto* client, void* session, const mosquitto_message* message);

    Library library_;
    const Options& options_;
    std::string broker_; ///< host:port
    double timeout_;     ///< of the connection and of a delivery, in seconds
    OnLoss on_loss_;
    ClientPtr client_;
    int protocol_ = 0;          ///< as the library numbers it
    std::optional<int> answer_; ///< CONNACK's
    std::string complaint_;     ///< the library's, when it has no better error
    std::deque<Report> reports_;
    std::string refusal_;
    std::string overheard_; ///< command topic, or none
    bool subscribed_ = false;
    bool was_subscribed_ = false; ///< ever
    Clock::time_point next_attempt_{};
    int delivered_ = 0;    ///< message last delivered to the broker
    int delivery_ = 0;     ///< reason code that came with it
    bool sending_ = false; ///< a command is on its way to the broker
};

} // namespace qvctl

#endif
