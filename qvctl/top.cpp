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

} // namespace

ExitStatus top(const Options& options, const Arguments& arguments) {
    if (options.json) {
        throw Failure(USAGE, "top shows a screen only; watch and get print JSON");
    }
    const SignalDescriptor signals;
    const Style style = Style::of_output(options);
    Session session(options);
    TopState state{.broker = options.host + ":" + std::to_string(options.port)};
    if (!options.device.empty()) {
        state.selected = options.device;
        state.devices[options.device].heard = Clock::now();
    }
    const KeyScreen screen;
    std::array others = {
        pollfd{.fd = signals.descriptor(), .events = POLLIN, .revents = 0},
        pollfd{.fd = screen.has_keys() ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0}};
    int left = arguments.count.value_or(screen.has_screen() ? FOREVER : 1);
    const auto give_up = after(options.timeout_or(options.listen));
    std::optional<Clock::time_point> next_question; // none before the first one
    while (true) {
        const bool is_due = !state.devices.empty() &&
                            Clock::now() >= next_question.value_or(Clock::time_point::min());
        if (is_due && next_question.has_value() && left != FOREVER) {
            draw(state, style, screen);
            if (--left == 0) {
                return ANSWERED;
            }
        }
        if (is_due) {
            ask_devices(session, state);
            next_question = after(arguments.interval);
        }
        const auto deadline = std::min(next_question.value_or(after(1)), after(1));
        const std::optional<Report> report = session.next(deadline, others);
        if ((others[0].revents != 0 && signals.asks_to_end()) ||
            (others[1].revents != 0 && take_key(state))) {
            return ANSWERED;
        }
        if (report.has_value() && (options.device.empty() || report->macaddr == options.device)) {
            state.note(*report);
        }
        if (left == FOREVER) {
            draw(state, style, screen);
        } else if (state.devices.empty() && Clock::now() >= give_up) {
            throw Failure(NO_ANSWER, "no device has spoken");
        }
    }
}

} // namespace qvctl
