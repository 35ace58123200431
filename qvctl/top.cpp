#include "dialogue.h"
#include "report_view.h"
#include "terminal.h"
#include "top_screen.h"
#include "verbs.h"

#include <array>
#include <cstdio>
#include <optional>
#include <unistd.h>

namespace qvctl {

namespace {

constexpr int FOREVER = -1; // screens, refreshed as things come

void draw(const TopState& state, const Style& style, const KeyScreen& screen) {
    const std::vector<std::string> lines = top_lines(state, screen_size(), style);
    if (!screen.has_screen()) {
        print_lines(lines);
        return;
    }
    // Each line is overwritten where it stands, so that nothing flickers on a slow line.
    std::string text = "\033[H";
    for (size_t i = 0; i < lines.size(); ++i) {
        text += (i == 0 ? "" : "\r\n") + lines[i] + "\033[K";
    }
    text += "\033[J";
    fwrite(text.data(), 1, text.size(), stdout);
    fflush(stdout);
}

/// Asks every device for its load, and the one shown in detail for the rest.
void ask_devices(Session& session, const TopState& state) {
    for (const auto& [macaddr, device] : state.devices) {
        session.send(macaddr, new_command(ASK_SYSTEM_STATS).get());
        if (macaddr == state.selected) {
            session.send(macaddr, new_command(ASK_RADIO_STATS).get());
            session.send(macaddr, new_command(ASK_STA_STATS).get());
        }
    }
}

/// Takes one key. Returns whether it asks to end.
bool take_key(TopState& state) {
    char key = 0;
    const ssize_t size = read(STDIN_FILENO, &key, 1);
    if (key == '\t' || key == 'n') {
        state.select_next();
    }
    return size <= 0 || key == 'q' || key == 'Q';
}

/// One run, from the first device heard to the end that the user or the count asks for.
class TopRun {
public:
    TopRun(const Options& options, const Arguments& arguments);
    ExitStatus run();

private:
    bool is_due() const;
    bool is_last_screen();
    bool wait();

    const Options& options_;
    const double interval_;
    const SignalDescriptor signals_;
    const Style style_;
    Session session_;
    TopState state_;
    const KeyScreen screen_; // behind the session, which may fail with a message
    int left_;               ///< screens still to draw
    std::optional<Clock::time_point> next_question_; ///< none before the first one
};

TopRun::TopRun(const Options& options, const Arguments& arguments)
    : options_(options), interval_(arguments.interval), style_(Style::of_output(options)),
      session_(options), state_{.broker = options.host + ":" + std::to_string(options.port)},
      left_(arguments.count.value_or(screen_.has_screen() ? FOREVER : 1)) {
    if (!options.device.empty()) {
        state_.selected = options.device;
        state_.devices[options.device].heard = Clock::now();
    }
}

bool TopRun::is_due() const {
    return !state_.devices.empty() &&
           Clock::now() >= next_question_.value_or(Clock::time_point::min());
}

/// Draws what the last questions have brought, where screens are counted. Returns whether that was
/// the last one.
bool TopRun::is_last_screen() {
    if (left_ == FOREVER || !next_question_.has_value()) {
        return false;
    }
    draw(state_, style_, screen_);
    return --left_ == 0;
}

/// Takes what comes next, within a second. Returns whether the user asks to end.
bool TopRun::wait() {
    std::array others = {
        pollfd{.fd = signals_.descriptor(), .events = POLLIN, .revents = 0},
        pollfd{.fd = screen_.has_keys() ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0}};
    const auto deadline = std::min(next_question_.value_or(after(1)), after(1));
    const std::optional<Report> report = session_.next(deadline, others);
    if (report.has_value() && (options_.device.empty() || report->macaddr == options_.device)) {
        state_.note(*report);
    }
    return (others[0].revents != 0 && signals_.asks_to_end()) ||
           (others[1].revents != 0 && take_key(state_));
}

ExitStatus TopRun::run() {
    const auto give_up = after(options_.timeout_or(options_.listen));
    while (true) {
        if (is_due()) {
            if (is_last_screen()) {
                return ANSWERED;
            }
            ask_devices(session_, state_);
            next_question_ = after(interval_);
        }
        if (wait()) {
            return ANSWERED;
        }
        if (left_ == FOREVER) {
            draw(state_, style_, screen_);
        } else if (state_.devices.empty() && Clock::now() >= give_up) {
            throw Failure(NO_ANSWER, "no device has spoken");
        }
    }
}

} // namespace

ExitStatus top(const Options& options, const Arguments& arguments) {
    if (options.json) {
        throw Failure(USAGE, "top shows a screen only; watch and get print JSON");
    }
    return TopRun(options, arguments).run();
}

} // namespace qvctl
