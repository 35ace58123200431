// Network changes that are taken back unless a command confirms them: the file that keeps what they
// replace, and when it is applied again.
#include "agent/dispatcher.h"
#include "fake_shell.h"
#include "network/kept_settings.h"
#include "network/take_back.h"
#include "support.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using enum ChangeStage;
using Clock = PendingChange::Clock;
using Seconds = decltype(KeptSettings::seconds);

class TakeBackTest : public AgentTest {
protected:
    TakeBackTest() {
        context.settle_changes = qv_settle_changes;
        for (const uint8_t apply : Bytes{13, 17, 19}) {
            fake().acknowledge(apply);
        }
        fake().replies[14] = lan("old");
        fake().replies[18] = wan_old;
    }
    static Bytes lan(const char* ip) {
        return Image(sizeof(LanConfigRecord)).text(64, ip);
    }
    static Bytes apply_lan(const char* ip) {
        return request_image(3, 13, lan(ip));
    }
    void change_lan(const std::string& ip, const std::string& confirm = ",\"confirm_s\":10") {
        fake().requests.clear();
        run_command(1011,
                    R"({"data":{"uci_network_lan":{"ipaddr":")" + ip + "\"}" + confirm + "}}");
    }
    void change_wan() {
        run_command(1012, R"({"data":{"uci_network_wan":{},"confirm_s":20}})");
    }
    /// What the main loop does when the time of all changes is over, and the controller thread.
    void run_out() {
        for (PendingChange& each : context.changes.of) {
            each.deadline = std::min(each.deadline, Clock::now());
        }
        settle([this] { qv_agent_queue_due_changes(context); });
    }
    void command_in(uint32_t begun) {
        settle([this, begun] { qv_agent_confirm_changes(context, begun); });
    }
    void settle(const std::function<void()>& begin) {
        fake().requests.clear();
        log = log_of([&] {
            begin();
            while (context.queue.count > 0) {
                msg_queue_pop(context.queue)->own(context, "", 0);
            }
        });
    }
    /// What the file keeps, as seconds; the log is kept.
    Seconds kept() {
        Seconds seconds;
        log = log_of([&] { seconds = qv_load_kept().seconds; });
        return seconds;
    }

    const Bytes read_lan = request_image(3, 14, {});
    const Bytes wan_old = Image(sizeof(WanConfigRecord)).text(32, "old");
    PendingChange& lan_change = context.changes.of[0];
    PendingChange& wan_change = context.changes.of[1];
    const DeviceFolder device;
    const std::string folder = device.path + "/qvagent", file = folder + "/pending";
};

} // namespace

TEST_F(TakeBackTest, TheFileIsWholeOrOfNoUse) {
    EXPECT_EQ(kept(), Seconds{});
    EXPECT_EQ(log, "");
    KeptSettings saved{.seconds = {10, 0, 3600}};
    saved.lan.ipaddr[0] = '7';
    ASSERT_EQ(qv_save_kept(saved), 0);
    EXPECT_EQ(kept(), saved.seconds);
    EXPECT_EQ(qv_load_kept().lan.ipaddr[0], '7');
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);

    std::string sound(sizeof(KeptSettings), '\0');
    std::ifstream(file, std::ios::binary).read(sound.data(), std::ssize(sound));
    const auto is_refused = [&](const std::string& bytes) {
        std::ofstream(file, std::ios::binary) << bytes;
        return kept() == Seconds{} && log.ends_with("/pending is damaged, nothing is taken back\n");
    };
    for (size_t i = 0; i < sound.size(); i += i < 24 ? 1 : 17) {
        std::string spoilt = sound;
        spoilt[i] ^= 0x40;
        EXPECT_TRUE(is_refused(spoilt) && is_refused(sound.substr(0, i))) << i;
    }
    EXPECT_TRUE(is_refused(sound + '\0'));
    for (const uint16_t seconds : {uint16_t{9}, uint16_t{3601}}) {
        saved.seconds[1] = seconds;
        ASSERT_EQ(qv_save_kept(saved), 0);
        EXPECT_EQ(kept(), Seconds{}) << seconds;
    }
    ASSERT_EQ(mkfifo((file + ".new").c_str(), 0600), 0);
    EXPECT_EQ(qv_save_kept(saved), ENXIO); // nor does it wait for a reader
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(qv_save_kept({}), 0);
        EXPECT_TRUE(fs::is_empty(folder));
    }
}

TEST_F(TakeBackTest, RefusedWithOneLineAndNothingSent) {
    const std::string senseless = "confirm_s is no integer from 10 to 3600\n";
    const auto refuses = [this](const char* value, const std::string& reason) {
        change_lan("new", std::string(",\"confirm_s\":") + value);
        EXPECT_EQ(log, "QV_ERR: LAN change refused: " + reason) << value;
        EXPECT_EQ(fake().requests, std::vector<Bytes>(fake().requests.size(), read_lan));
        EXPECT_EQ(lan_change.stage, none);
    };
    for (const char* const value :
         {"9", "3601", "-10", "99999999999", "\"120\"", "120.0", "null", "true", "{}"}) {
        refuses(value, senseless);
    }
    std::ofstream(folder) << "in the way";
    refuses("120", "Not a directory\n");
    fake().replies.erase(14);
    refuses("120", "the wifi manager does not tell the settings in force\n");
    change_lan("new", "");
    EXPECT_EQ(fake().requests, (std::vector{apply_lan("new"), read_lan}));
}

TEST_F(TakeBackTest, KeepsTheOldestAndPutsItBack) {
    change_lan("new");
    EXPECT_EQ(fake().requests, (std::vector{read_lan, apply_lan("new"), read_lan}));
    const Clock::time_point first = lan_change.deadline;
    EXPECT_EQ(qv_agent_change_deadline(context), first);
    fake().replies[14] = lan("new");
    change_lan("newer", ",\"confirm_s\":3600");
    EXPECT_GT(lan_change.deadline, first + std::chrono::minutes(59)); // anew
    change_wan();                                                     // beside it

    lan_change.deadline = Clock::now();
    log = log_of([this] { qv_agent_queue_due_changes(context); });
    EXPECT_EQ(qv_agent_change_deadline(context), wan_change.deadline); // also before it is settled
    context.busy = 1;                                                  // flashing: not now
    run_out();
    EXPECT_TRUE(fake().requests.empty());
    context.busy = 0;
    run_out();
    EXPECT_EQ(fake().requests,
              (std::vector{apply_lan("old"), read_lan, request_image(3, 17, wan_old),
                           request_image(3, 18, {})}));
    EXPECT_NE(log.find("QV_INFO: LAN change taken back, not confirmed within 3600 s\n"), log.npos);
    EXPECT_EQ(published(log).size(), 2U);
    EXPECT_EQ(context.marks.asks, 3U);
    EXPECT_FALSE(fs::exists(file) || qv_agent_change_pending(context));
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
}

TEST_F(TakeBackTest, ConfirmedByALaterSessionAlone) {
    context.marks.asks = 0xFFFFFFFF; // runs over
    change_lan("new");
    command_in(0xFFFFFFFF); // the session that brought the change
    EXPECT_EQ(log, "");
    qv_agent_ask_connection(context); // the ending of the command
    change_wan();
    fs::create_directory(file + ".new"); // in the way
    command_in(0);                       // begun after the one, before the other
    EXPECT_TRUE(log.ends_with(": Is a directory\nQV_INFO: LAN change confirmed\n")) << log;
    EXPECT_TRUE(fake().requests.empty());
    fs::remove(file + ".new");
    change_wan();
    EXPECT_EQ(kept(), (Seconds{0, 20, 0})); // what could not be forgotten then is now

    // The next start takes it up, and its time runs from the first attempt.
    context.changes = {};
    context.marks = {};
    log = log_of([this] { qv_find_changes(context); });
    EXPECT_TRUE(log.starts_with("QV_INFO: WAN change to be confirmed within 20 s of the ")) << log;
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
    qv_agent_start_changes(context);
    const Clock::time_point deadline = wan_change.deadline;
    EXPECT_LE(deadline, Clock::now() + std::chrono::seconds(20));
    qv_agent_start_changes(context); // the next attempts do not prolong it
    EXPECT_EQ(qv_agent_change_deadline(context), deadline);
    command_in(qv_agent_connection_begun(context));
    EXPECT_TRUE(log.ends_with("QV_INFO: WAN change confirmed\n")) << log;
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(TakeBackTest, PuttingBackIsRepeatedAndGivenUp) {
    change_lan("new");
    fake().replies.erase(13);
    for (int attempt = 1; attempt <= 11; ++attempt) {
        run_out();
        EXPECT_EQ(log,
                  "msg_queue_push: 1\nmsg_queue_pop: 0\nQV_ERR: LAN change not taken back: the "
                  "wifi manager refuses, attempt " +
                      std::to_string(attempt) + " of 11\n");
        EXPECT_EQ(fake().requests, std::vector<Bytes>{apply_lan("old")});
        const auto left = qv_agent_change_deadline(context) - Clock::now();
        EXPECT_EQ(left > std::chrono::seconds(29) && left <= TAKE_BACK_PAUSE, attempt < 11);
    }
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
    command_in(2); // too late
    EXPECT_EQ(log, "");
    EXPECT_EQ(kept(), (Seconds{10, 0, 0}));
    change_lan("newer"); // begins anew, with the oldest
    fake().acknowledge(13);
    run_out();
    EXPECT_EQ(fake().requests.at(0), apply_lan("old"));
    change_lan("newest");
    fs::remove(file);
    run_out();
    EXPECT_TRUE(log.ends_with("QV_ERR: LAN change stays: nothing is kept\n")) << log;
    EXPECT_FALSE(qv_agent_change_pending(context));
}
