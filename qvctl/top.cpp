#include "dialogue.h"
#include "report_view.h"
#include "terminal.h"
#include "top_screen.h"
#include "verbs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace qvctl {

namespace {

constexpr int FOREVER = -1; // screens, refreshed as things come

std::string line_at(const std::vector<std::string>& lines, size_t i) {
    return i < lines.size() ? lines[i] : "";
}

/// Asks every device for its load, and the one shown in detail for the rest.
void ask_devices(Session& session, const TopState& state) {
    for (const auto& [macaddr, device] : state.devices) {
        session.send(macaddr, new_command(COMMAND_GET_SYSTEM_STATS).get());
        if (macaddr == state.selected) {
            session.send(macaddr, new_command(COMMAND_GET_RADIO_STATS).get());
            session.send(macaddr, new_command(COMMAND_GET_AP_STATS).get());
            session.send(macaddr, new_command(COMMAND_GET_STA_STATS).get());
        }
    }
}

constexpr ptrdiff_t PAGE = 10; // stations

struct Key {
    std::string_view text; ///< as a terminal sends it
    void (*act)(TopState& state);
};
constexpr Key KEYS[] = {
    {"\t", [](TopState& state) { state.select_next(); }},
    {"n", [](TopState& state) { state.select_next(); }},
    {"s", [](TopState& state) { state.order_next(); }},
    {"k", [](TopState& state) { state.scroll(-1); }},
    {"\033[A", [](TopState& state) { state.scroll(-1); }},
    {"\033OA", [](TopState& state) { state.scroll(-1); }},
    {"j", [](TopState& state) { state.scroll(1); }},
    {"\033[B", [](TopState& state) { state.scroll(1); }},
    {"\033OB", [](TopState& state) { state.scroll(1); }},
    {"\033[5~", [](TopState& state) { state.scroll(-PAGE); }},
    {"\033[6~", [](TopState& state) { state.scroll(PAGE); }},
    {" ", [](TopState& state) { state.scroll(PAGE); }},
};

/// Takes the keys that were pressed. Returns whether one asks to end.
bool take_keys(TopState& state) {
    char typed[64];
    const ssize_t size = read(STDIN_FILENO, typed, sizeof typed);
    std::string_view rest(typed, static_cast<size_t>(std::max<ssize_t>(size, 0)));
    while (!rest.empty() && rest[0] != 'q' && rest[0] != 'Q') {
        const auto* const key = std::ranges::find_if(
            KEYS, [rest](const Key& row) { return rest.starts_with(row.text); });
        if (key != std::end(KEYS)) {
            key->act(state);
        }
        rest.remove_prefix(key == std::end(KEYS) ? 1 : key->text.size());
    }
    return size <= 0 || !rest.empty();
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
    void draw();
    void refresh();
    void leave_screen_behind();

    const Options& options_;
    const double interval_;
    const SignalDescriptor signals_;
    const Style style_;
    Session session_;
    TopState state_;
    std::optional<KeyScreen> screen_; ///< behind the session, which may fail with a message
    int left_;                        ///< screens still to draw
    std::optional<Clock::time_point> next_question_; ///< none before the first one
    Clock::time_point next_draw_ = Clock::now();
    std::vector<std::string> drawn_; ///< lines that stand on the screen
    ScreenSize drawn_size_{.columns = 0, .lines = 0};
};

TopRun::TopRun(const Options& options, const Arguments& arguments)
    : options_(options), interval_(arguments.interval), style_(Style::of_output(options)),
      session_(options, OnLoss::reconnect), state_{.broker = session_.broker()},
      screen_(std::in_place), left_(arguments.count.value_or(screen_->has_screen() ? FOREVER : 1)) {
    state_.has_keys = screen_->has_keys();
    if (options.names_device()) {
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
    draw();
    return --left_ == 0;
}

/// Writes only the lines that differ from those that stand there, for the sake of a slow line.
void TopRun::draw() {
    const ScreenSize size = screen_size();
    std::vector<std::string> lines = top_lines(state_, size, style_);
    if (!screen_->has_screen()) {
        print_lines(lines);
        return;
    }
    std::string text;
    if (size != drawn_size_) { // the terminal may have moved what stood there
        text = "\033[2J";
        drawn_.clear();
        drawn_size_ = size;
    }
    for (size_t i = 0; i < std::max(lines.size(), drawn_.size()); ++i) {
        if (line_at(lines, i) != line_at(drawn_, i)) {
            text += "\033[" + std::to_string(i + 1) + ";1H" + line_at(lines, i) + "\033[K";
        }
    }
    drawn_ = std::move(lines);
    fwrite(text.data(), 1, text.size(), stdout);
    fflush(stdout);
}

/// Draws once a second, and after a key or a change of the screen's size.
void TopRun::refresh() {
    if (Clock::now() >= next_draw_) {
        draw();
        next_draw_ = after(1);
    }
}

/// The last screen of a count is what was asked for: it stays when the terminal's own comes back.
void TopRun::leave_screen_behind() {
    const bool had_screen = screen_->has_screen();
    screen_.reset();
    if (had_screen) {
        state_.has_keys = false;
        ScreenSize size = screen_size();
        size.lines -= std::min<size_t>(size.lines, 1); // for the shell
        print_lines(top_lines(state_, size, style_));
    }
}

/// Takes what comes next, within a second. Returns whether the user asks to end.
bool TopRun::wait() {
    std::array others = {
        pollfd{.fd = signals_.descriptor(), .events = POLLIN, .revents = 0},
        pollfd{.fd = screen_->has_keys() ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0}};
    const auto deadline =
        std::min(next_question_.value_or(after(1)), left_ == FOREVER ? next_draw_ : after(1));
    const std::optional<Report> report = session_.next(deadline, others);
    if (report.has_value() && options_.means(report->macaddr)) {
        state_.note(*report);
    }
    if (others[0].revents != 0 || others[1].revents != 0 ||
        state_.connected != session_.connected()) {
        next_draw_ = Clock::now();
    }
    state_.connected = session_.connected();
    return (others[0].revents != 0 && signals_.asks_to_end()) ||
           (others[1].revents != 0 && take_keys(state_));
}

ExitStatus TopRun::run() {
    const auto give_up = after(options_.timeout_or(options_.listen));
    while (true) {
        if (is_due()) {
            if (is_last_screen()) {
                leave_screen_behind();
                return ANSWERED;
            }
            if (session_.connected()) {
                ask_devices(session_, state_);
            }
            next_question_ = after(interval_);
        }
        if (wait()) {
            return ANSWERED;
        }
        if (left_ == FOREVER) {
            refresh();
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
