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

constexpr const char* DAMAGED = "/pending is damaged, nothing is taken back\n";

class TakeBackTest : public AgentTest {
protected:
    TakeBackTest() {
        std::string name = (fs::temp_directory_path() / "qv-XXXXXX").string();
        folder = mkdtemp(name.data());
        fake_device_paths(folder);
        file = folder + "/qvagent/pending";
        context.settle_changes = qv_settle_changes;
        for (const uint8_t apply : Bytes{13, 17, 19}) {
            fake().acknowledge(apply);
        }
        fake().replies[14] = lan("old");
        fake().replies[18] = Image(sizeof(WanConfigRecord)).text(32, "old");
    }
    ~TakeBackTest() override {
        fs::remove_all(folder);
    }

    static Bytes lan(const char* ip) {
        return Image(sizeof(LanConfigRecord)).text(64, ip);
    }
    void change_lan(const std::string& ip, const std::string& more) {
        fake().requests.clear();
        run_command(1011, R"({"data":{"uci_network_lan":{"ipaddr":")" + ip + "\"}" + more + "}}");
    }
    PendingChange& change(size_t part) {
        return context.changes.of[part];
    }
    /// What the main loop does when the time of all changes is over, and the controller thread.
    void run_out() {
        for (PendingChange& each : context.changes.of) {
            each.deadline = std::min(each.deadline, Clock::now());
        }
        settle([this] { qv_agent_queue_due_changes(context); });
    }
    void settle(const std::function<void()>& begin) {
        fake().requests.clear();
        log = log_of([&] {
            begin();
            while (context.queue.count > 0) {
                const ControllerMsgPtr message = msg_queue_pop(context.queue);
                ASSERT_NE(message->own, nullptr);
                message->own(context, message->payload.get(), message->len);
            }
        });
    }
    Bytes read_file() const {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void write_file(const Bytes& bytes) const {
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    }
    /// Whether the file keeps anything; the log is kept.
    bool loads() {
        KeptSettings kept;
        log = log_of([&] { kept = qv_load_kept(); });
        return kept.seconds != KeptSettings{}.seconds;
    }

    std::string folder, file;
};

} // namespace

TEST_F(TakeBackTest, TheFileIsWholeOrOfNoUse) {
    KeptSettings kept;
    EXPECT_FALSE(loads());
    EXPECT_EQ(log, "");
    kept.seconds = {10, 0, 3600};
    kept.lan.ipaddr[0] = '7';
    ASSERT_EQ(qv_save_kept(kept), 0);
    EXPECT_TRUE(loads());
    EXPECT_EQ(qv_load_kept().lan.ipaddr[0], '7');
    struct stat about {};
    ASSERT_EQ(stat((folder + "/qvagent").c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0777U, 0700U);

    const Bytes sound = read_file();
    ASSERT_EQ(sound.size(), sizeof(KeptSettings));
    for (size_t i = 0; i < sound.size(); i += i < 24 ? 1 : 17) {
        Bytes spoilt = sound;
        spoilt[i] ^= 0x40;
        write_file(spoilt);
        EXPECT_FALSE(loads()) << i;
        EXPECT_TRUE(log.ends_with(DAMAGED)) << i;
        spoilt.resize(i);
        write_file(spoilt);
        EXPECT_FALSE(loads()) << i;
    }
    Bytes longer = sound;
    longer.push_back(0);
    write_file(longer);
    EXPECT_FALSE(loads());
    for (const uint16_t seconds : {uint16_t{9}, uint16_t{3601}}) {
        kept.seconds[1] = seconds;
        ASSERT_EQ(qv_save_kept(kept), 0);
        EXPECT_FALSE(loads()) << seconds;
    }
    EXPECT_EQ(qv_save_kept({}), 0);
    EXPECT_TRUE(fs::is_empty(folder + "/qvagent"));
    EXPECT_EQ(qv_save_kept({}), 0);
    fs::remove(folder + "/qvagent");
    std::ofstream(folder + "/qvagent") << "in the way";
    EXPECT_EQ(qv_save_kept(kept), ENOTDIR);
}

TEST_F(TakeBackTest, RefusedWithOneLineAndNothingSent) {
    const std::string senseless = "confirm_s is no integer from 10 to 3600\n";
    const struct {
        const char* value;
        std::string reason;
        std::function<void()> before = [] {};
    } rows[] = {
        {"9", senseless},
        {"3601", senseless},
        {"-10", senseless},
        {"99999999999", senseless},
        {"\"120\"", senseless},
        {"120.0", senseless},
        {"null", senseless},
        {"true", senseless},
        {"{}", senseless},
        {"120", "the wifi manager does not tell the settings in force\n",
         [] { fake().replies.erase(14); }},
        {"120", "Not a directory\n",
         [this] {
             fake().replies[14] = lan("old");
             std::ofstream(folder + "/qvagent") << "in the way";
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        row.before();
        change_lan("new", std::string(",\"confirm_s\":") + row.value);
        EXPECT_EQ(log, "QV_ERR: LAN change refused: " + row.reason);
        for (const Bytes& request : fake().requests) {
            EXPECT_EQ(request, request_image(3, 14, {}));
        }
        EXPECT_EQ(change(0).stage, none);
    }
    change_lan("new", "");
    EXPECT_EQ(fake().requests,
              (std::vector{request_image(3, 13, lan("new")), request_image(3, 14, {})}));
}

TEST_F(TakeBackTest, KeepsTheOldestAndPutsItBack) {
    change_lan("new", ",\"confirm_s\":10");
    EXPECT_EQ(fake().requests,
              (std::vector{request_image(3, 14, {}), request_image(3, 13, lan("new")),
                           request_image(3, 14, {})}));
    EXPECT_TRUE(log.starts_with("QV_INFO: LAN change to be confirmed within 10 s\n")) << log;
    const Clock::time_point first = change(0).deadline;
    EXPECT_EQ(qv_agent_change_deadline(context), first);
    fake().replies[14] = lan("new");
    change_lan("newer", ",\"confirm_s\":3600");
    EXPECT_GT(change(0).deadline, first + std::chrono::minutes(59)); // anew
    fake().requests.clear();
    run_command(1012, R"({"data":{"uci_network_wan":{},"confirm_s":20}})"); // beside it

    const Clock::time_point second = change(1).deadline;
    change(0).deadline = Clock::now();
    log = log_of([this] { qv_agent_queue_due_changes(context); });
    EXPECT_EQ(qv_agent_change_deadline(context), second); // also before the first is settled
    context.busy = 1;                                     // flashing: not now
    run_out();
    EXPECT_TRUE(fake().requests.empty());
    context.busy = 0;
    run_out();
    EXPECT_EQ(fake().requests,
              (std::vector{request_image(3, 13, lan("old")), request_image(3, 14, {}),
                           request_image(3, 17, Image(sizeof(WanConfigRecord)).text(32, "old")),
                           request_image(3, 18, {})}));
    EXPECT_NE(log.find("QV_INFO: LAN change taken back, not confirmed within 3600 s\n"), log.npos);
    EXPECT_NE(log.find("QV_INFO: WAN change taken back, not confirmed within 20 s\n"), log.npos);
    EXPECT_EQ(published(log).size(), 2U);
    EXPECT_EQ(context.marks.asks, 3U);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(qv_agent_change_pending(context));
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
}

TEST_F(TakeBackTest, ConfirmedByALaterSessionAlone) {
    context.marks.asks = 0xFFFFFFFF; // runs over
    const auto command_in = [this](uint32_t begun) {
        settle([&] { qv_agent_confirm_changes(context, begun); });
    };
    change_lan("new", ",\"confirm_s\":10");
    command_in(0xFFFFFFFF); // the session that brought the change
    EXPECT_EQ(log, "");
    qv_agent_ask_connection(context); // the ending of the command
    run_command(1012, R"({"data":{"uci_network_wan":{},"confirm_s":20}})");
    EXPECT_EQ(qv_load_kept().seconds, (std::array<uint16_t, 3>{10, 20, 0}));
    command_in(0); // begun after the one, before the other
    EXPECT_TRUE(log.ends_with("QV_INFO: LAN change confirmed\n")) << log;
    EXPECT_TRUE(fake().requests.empty());
    EXPECT_EQ(qv_load_kept().seconds, (std::array<uint16_t, 3>{0, 20, 0}));

    // The next start takes it up, and its time runs from the first attempt.
    context.changes = {};
    context.marks = {};
    log = log_of([this] { qv_find_changes(context); });
    EXPECT_EQ(log, "QV_INFO: WAN change to be confirmed within 20 s of the first attempt to "
                   "connect\n");
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
    const uint32_t begun = qv_agent_connection_begun(context);
    const Clock::time_point deadline = change(1).deadline;
    EXPECT_LE(deadline, Clock::now() + std::chrono::seconds(20));
    qv_agent_connection_begun(context); // the next attempts do not prolong it
    EXPECT_EQ(qv_agent_change_deadline(context), deadline);
    command_in(begun);
    EXPECT_TRUE(log.ends_with("QV_INFO: WAN change confirmed\n")) << log;
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(TakeBackTest, PuttingBackIsRepeatedAndGivenUp) {
    change_lan("new", ",\"confirm_s\":10");
    fake().replies.erase(13);
    for (int attempt = 1; attempt <= 11; ++attempt) {
        run_out();
        EXPECT_TRUE(log.ends_with("QV_ERR: LAN change not taken back: the wifi manager refuses, "
                                  "attempt " +
                                  std::to_string(attempt) + " of 11\n"))
            << log;
        EXPECT_EQ(fake().requests, std::vector<Bytes>{request_image(3, 13, lan("old"))});
        const auto left = qv_agent_change_deadline(context) - Clock::now();
        EXPECT_EQ(left > std::chrono::seconds(29) && left <= TAKE_BACK_PAUSE, attempt < 11);
    }
    EXPECT_EQ(qv_agent_change_deadline(context), PendingChange::NEVER);
    settle([this] { qv_agent_confirm_changes(context, 2); }); // too late
    EXPECT_EQ(log, "");
    EXPECT_TRUE(loads());
    change_lan("newer", ",\"confirm_s\":10"); // begins anew, with the oldest
    fake().acknowledge(13);
    run_out();
    EXPECT_EQ(fake().requests.at(0), request_image(3, 13, lan("old")));
    change_lan("newest", ",\"confirm_s\":10");
    fs::remove(file);
    run_out();
    EXPECT_TRUE(log.ends_with("QV_ERR: LAN change stays: nothing is kept\n")) << log;
    EXPECT_FALSE(qv_agent_change_pending(context));
}
