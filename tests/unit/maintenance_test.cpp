#include "broker/intake.h"
#include "fake_shell.h"
#include "maintenance/fw_flash.h"
#include "support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

const std::string SUM = "0123456789abcdef0123456789abcdef";

/// The one request that the wifi manager gets after an upgrade.
std::vector<Bytes> notice(uint8_t value) {
    return {request_image(1, 8, {value, 0, 0, 0})};
}

class MaintenanceTest : public AgentTest {
protected:
    MaintenanceTest() {
        std::string name = (std::filesystem::temp_directory_path() / "qv-XXXXXX").string();
        folder = mkdtemp(name.data());
        fake_device_paths(folder);
        fake_shell() = {};
        fake_shell().output = SUM + "  image\n";
        image = folder + "/image";
        context.broker = {1883, "192.0.2.7"};
    }
    ~MaintenanceTest() override {
        std::filesystem::remove_all(folder);
    }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder + "/" + name, std::ios::binary) << text;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(folder + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// None: there is no file that names the board.
    void set_board(const char* content) const {
        std::filesystem::remove(folder + "/board_name");
        if (content != nullptr) {
            write("board_name", content);
        }
    }

    /// IMAGE stands for the image's path.
    std::string with_short_path(std::string text) const {
        for (size_t at = 0; (at = text.find(image)) != text.npos;) {
            text.replace(at, image.size(), "IMAGE");
        }
        return text;
    }

    /// Status reports and commands of a log in their order.
    std::string steps() const {
        std::string result;
        for (size_t start = 0, end = 0; start < log.size(); start = end + 1) {
            end = std::min(log.find('\n', start), log.size());
            const std::string line = log.substr(start, end - start);
            const size_t status = line.find("\"updata_stats\": ");
            if (line.starts_with(SHELL_LINE)) {
                result += line.substr(7) + "|";
            } else if (line.starts_with("PUB MSG") && status != line.npos) {
                result += std::to_string(atoi(line.c_str() + status + 16)) + "|";
            }
        }
        return with_short_path(result);
    }

    /// As the network thread gets a message; waits for the worker that it may start.
    void receive(const std::string& payload) {
        log = log_of([&] {
            qv_agent_recv_msg(context, "", payload.c_str(), static_cast<uint32_t>(payload.size()));
            context.worker.join();
        });
    }

    std::string folder;
    std::string image;
};

std::string upgrade_command(int32_t type, const std::string& fw_params) {
    return R"({"type":)" + std::to_string(type) + R"(,"timestamp":1,"data":{"fw_params":{)" +
           fw_params + "}}}";
}
std::string params(const std::string& sum, const std::string& save_config,
                   const std::string& reboot) {
    return R"("image_name":"a b.img","md5sum":")" + sum +
           R"(","server_ip":"198.51.100.1","server_port":8080,"save_config":")" + save_config +
           R"(","reboot":")" + reboot + "\"";
}

constexpr const char* DK07 = "ap-dk07.1-c1\n";
constexpr const char* CP01 = "qcom,ipq6018-ap-cp01-c4\n";
constexpr const char* MP03 = "qcom,ipq5018-ap-mp03.5-c2";

/// One upgrade, as the command 1002 and as the job of the command 1032.
struct Upgrade {
    std::string fw_params;
    std::string steps;
    int32_t result;           ///< of 1002
    const char* board = MP03; ///< content of the board file
    int32_t tool_status = 0;
    const char* standard_error = "";
    const char* request = "8080 a b.img"; ///< to the download server; none: refused before
    int32_t download = 0;
    std::string md5_output = SUM + "  image\n";
    size_t size = 0; ///< the command is filled up with blanks
};

std::vector<Upgrade> upgrades() {
    const std::string keep = params(SUM, "1", "1");
    const std::string forget = params(SUM, "0", "0");
    const std::string md5 = "md5sum IMAGE|";
    const std::string wrong_sum = md5 + "-2|";
    const std::string no_sum = R"("image_name":"i","server_port":"80")";
    return {
        // The boards and their tools.
        {keep, md5 + "203|sysupgrade IMAGE|", 0, DK07},
        {params(SUM, "true", "0"), md5 + "203|sysupgrade -n IMAGE|", 0, DK07, 256},
        {keep, md5 + "202|updata_rootfs.sh IMAGE|203|reboot|", 203, CP01},
        {forget, md5 + "202|updata_rootfs.sh -n IMAGE|203|", 203, CP01},
        {params(SUM, " 1", "1 "), md5 + "202|updata_rootfs.sh -n IMAGE|203|", 203, MP03},
        {keep, md5 + "202|updata_rootfs.sh IMAGE|-3|", 3, MP03, 256,
         "Command 'updata_rootfs.sh IMAGE' failed with status 256\n"},
        {keep, md5 + "-3|", 3, "qcom,ipq6018-ap-cp01-c4 \n", 0,
         "Unsupported board: qcom,ipq6018-ap-cp01-c4 \n"},
        {keep, md5 + "-3|", 3, "\nap-dk07.1-c1\n", 0, "Unsupported board: \n"},
        {keep, md5 + "-4|", 4, "", 0, "Failed to get board name\n"},
        {keep, md5 + "-4|", 4, nullptr, 0,
         "Failed to open /tmp/sysinfo/board_name: No such file or directory\n"
         "Failed to get board name\n"},
        // No image, or not the right one.
        {.fw_params = keep, .steps = "-1|", .result = 1, .download = -7, .size = 300},
        {.fw_params = keep, .steps = "-1|", .result = 1, .request = nullptr, .size = 301},
        {.fw_params = params(SUM, "1", "12345678"),
         .steps = "-1|",
         .result = 1,
         .request = nullptr},
        {.fw_params = params(SUM, "7654321", "7654321"),
         .steps = "-1|",
         .result = 1,
         .download = 1},
        {.fw_params = R"("image_name":")" + std::string(128, 'i') + '"',
         .steps = "-1|",
         .result = 1,
         .request = nullptr},
        {.fw_params = keep, .steps = wrong_sum, .result = 2, .md5_output = SUM.substr(1)},
        {.fw_params = params("ABCDEF", "1", "1"),
         .steps = wrong_sum,
         .result = 2,
         .md5_output = "abcdef  image\n"},
        {.fw_params = no_sum, .steps = wrong_sum, .result = 2, .request = "0 i", .md5_output = ""},
        {.fw_params = "", .steps = "-1|", .result = 1, .request = "0 ", .download = 1},
        {.fw_params = R"("image_name":"i\u0000mg")",
         .steps = "-1|",
         .result = 1,
         .request = nullptr},
        // 8080 more than 2 to the power of 32.
        {.fw_params = R"("image_name":"i","md5sum":"","server_ip":"","server_port":"4294975376")",
         .steps = "-1|",
         .result = 1,
         .request = "2147483647 i",
         .download = 1},
    };
}

TEST_F(MaintenanceTest, Upgrades) {
    for (const Upgrade& row : upgrades()) {
        for (const int32_t type : {1002, 1032}) {
            std::string payload = upgrade_command(type, row.fw_params);
            payload.resize(std::max(payload.size(), row.size), ' ');
            SCOPED_TRACE(payload + row.steps);
            const bool in_background = type == 1032;
            set_board(row.board);
            fake() = {};
            fake().file_request_result = row.download;
            fake_shell().output = row.md5_output;
            fake_shell().status = {{"sysupgrade", row.tool_status},
                                   {"updata_rootfs.sh", row.tool_status}};
            context.state = AGENT_STATE_RUN;
            context.busy = in_background ? 0 : 1; // a job's that waits for its turn
            testing::internal::CaptureStderr();
            if (in_background) {
                receive(payload);
                EXPECT_LT(log.find("201"), log.find("\nQV_INFO: flashing rootfs:" + payload +
                                                    "\nplyload: " + payload));
                EXPECT_EQ(context.state, AGENT_STATE_BUSY);
                EXPECT_EQ(context.queue.count, 0);
            } else {
                EXPECT_EQ(run_command(type, payload), row.result);
            }
            EXPECT_EQ(with_short_path(testing::internal::GetCapturedStderr()), row.standard_error);
            EXPECT_EQ(steps(), (in_background ? "201|" : "") + row.steps);
            std::vector<std::string> calls;
            if (row.request != nullptr) {
                calls = {std::string("file_request 192.0.2.7 ") + row.request};
            }
            EXPECT_EQ(fake().calls, calls);
            EXPECT_EQ(log.find("QV_ERR: firmware upgrade refused: ") == log.npos, !calls.empty());
            const bool noticed = !in_background && row.result <= 1;
            EXPECT_EQ(fake().requests,
                      noticed ? notice(static_cast<uint8_t>(row.result)) : std::vector<Bytes>{});
            // After sysupgrade the device restarts any moment.
            EXPECT_EQ(context.busy, in_background && row.result != 0 ? 0 : 1);
        }
    }
}

TEST_F(MaintenanceTest, OneJobAtATimeAndNoneAtTheEnd) {
    set_board(MP03);
    fake_shell().output = SUM + std::string("  IMAGE\n");
    const struct {
        bool worker_runs;
        int32_t stop;
        const char* steps;
    } rows[] = {
        {true, 0, ""},
        {false, 1, ""},
        // What a sysupgrade leaves that did not restart the device.
        {false, 0, "201|md5sum IMAGE|202|updata_rootfs.sh IMAGE|203|reboot|"},
    };
    for (const auto& row : rows) {
        context.state = AGENT_STATE_RUN;
        context.busy = 1;
        context.worker_runs = row.worker_runs;
        context.stop = row.stop;
        const std::string steps = row.steps;
        receive(upgrade_command(1032, params(SUM, "1", "1")));
        EXPECT_EQ(this->steps(), steps);
        const bool refused = steps.empty();
        EXPECT_EQ(log.find("\nQV_ERR: firmware upgrade refused: another one runs") != log.npos,
                  refused);
        EXPECT_EQ(context.state, refused ? AGENT_STATE_RUN : AGENT_STATE_BUSY);
        EXPECT_EQ(context.busy, refused ? 1 : 0);
        EXPECT_EQ(context.worker_runs, row.worker_runs);
    }
}

TEST_F(MaintenanceTest, NoStepOfAnUpgradeBeginsAtTheEnd) {
    set_board(MP03);
    fake_shell().output = SUM + std::string("  IMAGE\n");
    const struct {
        const char* last_step; ///< the agent is asked to end while it runs
        const char* steps;
        int32_t result;
    } rows[] = {
        {"", "-1|", 1},
        {"file_request", "-2|", 2},
        {"md5sum", "md5sum IMAGE|-3|", 3},
        {"updata_rootfs.sh", "md5sum IMAGE|202|updata_rootfs.sh IMAGE|203|reboot|", 203},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.last_step);
        context.stop = *row.last_step == '\0';
        const std::string last = row.last_step;
        fake().during_file_request = [&] { context.stop = context.stop || last == "file_request"; };
        fake_shell().during = [&](const std::string& command) {
            context.stop = context.stop || command.starts_with(last);
        };
        EXPECT_EQ(run_command(1002, upgrade_command(1002, params(SUM, "1", "1"))), row.result);
        EXPECT_EQ(steps(), row.steps);
    }
}

TEST_F(MaintenanceTest, UpgradeLog) {
    set_board(CP01);
    const std::string payload = upgrade_command(1002, params(SUM, "1", "1")) + "~\t";
    run_command(1002, payload);
    EXPECT_EQ(with_short_path(without_reports(log)),
              "plyload: " + payload + "\n-------------------------------\n" +
                  "Non-printable character detected at index " +
                  std::to_string(payload.size() - 1) + ": 0x9\npayload:" + payload +
                  "\nimage_name: a b.img\nserver_ip: 192.0.2.7\nserver_port: 8080\nmd5sum: " + SUM +
                  "\nsave_config: 1\nreboot: 1\nmd5 cmd = md5sum IMAGE\nshell: md5sum IMAGE\n"
                  "QV: flashing command: updata_rootfs.sh IMAGE\nshell: updata_rootfs.sh IMAGE\n"
                  "QV: reboot now:-203,1\nshell: reboot\n");

    // One line for a text that is too long, whatever its bytes.
    const std::string tabs(301, '\t');
    run_command(1002, tabs);
    EXPECT_EQ(without_reports(log),
              "plyload: " + tabs + "\n-------------------------------\n" +
                  "QV_ERR: firmware upgrade refused: command text longer than 300 bytes\n");

    // A queued text ends at its first NUL, while its length is the received one.
    const ControllerMsgPtr cut = qv_new_controller_msg(context, 1002, "{}", 250);
    const auto row = std::ranges::find(context.commands, 1002, &Command::type);
    log = log_of([&] { row->handler(context, cut->payload.get(), cut->len); });
    EXPECT_EQ(log.find("Non-printable"), log.npos);
}

TEST_F(MaintenanceTest, FlashAgain) {
    struct {
        const char* params;
        int32_t tool_status;
        const char* steps;
    } const rows[] = {
        {R"("save_config":1,"reboot":1)", 0, "updata_rootfs.sh IMAGE|2|reboot|"},
        {R"("save_config":"1","reboot":true)", 0, "updata_rootfs.sh IMAGE|2|reboot|"},
        {R"("save_config":2,"reboot":2)", 0, "updata_rootfs.sh -n IMAGE|2|"},
        {R"("reboot":1)", 0, "updata_rootfs.sh -n IMAGE|2|"},
        {R"("save_config":1)", 0, "updata_rootfs.sh IMAGE|2|"},
        {R"("save_config":1,"reboot":1)", 256, "updata_rootfs.sh IMAGE|-256|"},
        {R"("save_config":1,"reboot":1)", -1, "updata_rootfs.sh IMAGE|1|"},
    };
    context.busy = 1; // runs beside a worker
    context.state = AGENT_STATE_ANNOUNCE;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.params);
        fake_shell().status = {{"updata_rootfs.sh", row.tool_status}};
        testing::internal::CaptureStderr();
        receive(R"({"type":1033,"timestamp":1,"data":{"flash_params":{)" + std::string(row.params) +
                "}}}");
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), row.tool_status == 0);
        EXPECT_EQ(steps(), row.steps);
        EXPECT_EQ(context.busy, 1);
        EXPECT_EQ(context.state, AGENT_STATE_ANNOUNCE);
        EXPECT_EQ(context.queue.count, 0);
    }
}

TEST_F(MaintenanceTest, Clock) {
    struct {
        const char* timestamp;
        const char* time; ///< none: refused
        const char* zone = "UTC";
    } const rows[] = {
        {"1700000000999", "2023-11-14 22:13:20"},
        {"1700000000999", "2023-11-14 23:13:20", "CET-1"}, // changed while the agent runs
        {"\"1700000000999\"", "2023-11-14 22:13:20"},
        {"-1500", "1969-12-31 23:59:59"},
        {"4102444800000", "2100-01-01 00:00:00"},
        {"253402300799999", "9999-12-31 23:59:59"},
        {"253402300800000", nullptr},
        {"9223372036854775807", nullptr},
        {"-9223372036854775808", nullptr},
        {"\"soon\"", nullptr},
        {"\"-1500\"", "1969-12-31 23:59:59"},
        {"\"+1700000000999\"", "2023-11-14 22:13:20"},
        {"1.7e12", "2023-11-14 22:13:20"},
        {"-1500.9", "1969-12-31 23:59:59"},
        {"\"12abc\"", nullptr},
        {"\"0x10\"", nullptr},
        {"\"1.7e12\"", nullptr},
        {"\" 1700000000999\"", nullptr},
        {"\"1700000000999 \"", nullptr},
        {"\"1700000000999\\u00000\"", nullptr},
        {"\"-\"", nullptr},
        {"\"+-1500\"", nullptr},
        {"\"\"", nullptr},
        {"\"99999999999999999999\"", nullptr},
        {"null", nullptr},
        {"true", nullptr},
        {"[1700000000999]", nullptr},
        {"1,\"timestamp\":", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.timestamp);
        setenv("TZ", row.zone, 1);
        const std::string payload =
            std::string(R"({"data":{"timestamp":5},"timestamp":)") + row.timestamp + "}";
        EXPECT_EQ(run_command(1015, payload), 0);
        std::string expected = "QV_ERR: clock not set: no timestamp that is a date\n";
        if (row.time != nullptr) {
            const std::string command = "date -s \"" + std::string(row.time) + "\"\n";
            expected = "QV: update time command: " + command + SHELL_LINE + command;
        }
        EXPECT_EQ(log, "SUB MSG: payload=" + payload + "\n" + expected);
    }
    setenv("TZ", "UTC", 1);
}

std::string general_data(const std::string& json) {
    return R"({"data":{"general_data":)" + json + "}}";
}

std::string json_text(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        result.append(character == '"' || character == '\\' ? "\\" : "").append(1, character);
    }
    return result + "\"";
}

/// Each command is really run, by every shell there is, with nothing but harmless tools in reach.
TEST_F(MaintenanceTest, PasswordReachesTheToolUnchanged) {
    write("passwd", "#!/bin/sh\n[ \"$*\" = admin ] && /bin/cat >\"${0%/*}/received\"\n");
    write("sleep", "#!/bin/sh\n");
    for (const char* tool : {"/passwd", "/sleep"}) {
        std::filesystem::permissions(folder + tool, std::filesystem::perms::owner_all);
    }
    std::vector<std::string> shells;
    for (const std::string shell : {"/bin/sh", "/bin/bash"}) {
        // A shell that is not here, or that would run a passwd of its own, is left out.
        shells.push_back("cd " + folder + " && PATH=" + folder + " " + shell + " ");
        const std::string look =
            "[ \"$(" + shells.back() + "-c 'command -v passwd')\" = " + folder + "/passwd ] 2>&-";
        if (system(look.c_str()) != 0) {
            shells.pop_back();
        }
    }
    ASSERT_FALSE(shells.empty());
    for (const std::string password :
         {"abc", "", "'", "a'b' 'c", "';>canary;'", "$(>canary)", "`>canary`", "\";>canary;\"",
          "\\';>canary;'", "\\", "\\c\\n\\0101\\\\x", "-n", "-neE", "-", "-x %s%d *?[a]",
          "# !{}~&|<>()", "Áé密码", "1234567890123456789"}) {
        SCOPED_TRACE(password);
        fake_shell() = {};
        EXPECT_EQ(run_command(1016, general_data(json_text(password))), 0);
        ASSERT_EQ(fake_shell().commands.size(), 1U);
        const std::string& command = fake_shell().commands[0];
        EXPECT_NE(log.find("\nQV: update password command: " + command + "\n"), log.npos);
        write("command", command);
        for (const std::string& shell : shells) {
            std::filesystem::remove(folder + "/received");
            EXPECT_EQ(system((shell + "./command").c_str()), 0) << shell;
            EXPECT_EQ(read("received"), password + "\n" + password + "\n") << shell;
            EXPECT_FALSE(std::filesystem::exists(folder + "/canary")) << shell;
        }
    }
}

TEST_F(MaintenanceTest, Passwords) {
    const std::string abc = "(echo 'abc'; sleep 1; echo 'abc') | passwd 'admin' >/dev/null 2>&1";
    const std::string none = "(echo ''; sleep 1; echo '') | passwd 'admin' >/dev/null 2>&1";
    for (const std::string& payload : {general_data(R"("abc")"), std::string("{\"data\":"),
                                       std::string(R"({"data":7})"), std::string("{}")}) {
        fake_shell() = {};
        EXPECT_EQ(run_command(1016, payload), 0);
        EXPECT_EQ(fake_shell().commands, std::vector{payload.size() > 20 ? abc : none}) << payload;
    }
    fake_shell() = {};
    for (const char* json :
         {R"("1234567secret4567890")", R"("ÄÖÜsecretÄÖÜÄ")", R"("secret\nx")", R"("secret\rx")",
          R"("secret\u0000x")", R"("secret\u001bx")", R"("secret\u007fx")"}) {
        EXPECT_EQ(run_command(1016, general_data(json)), 0);
        const size_t line = log.find("QV_ERR: password refused: ");
        ASSERT_NE(line, log.npos) << json;
        EXPECT_EQ(log.find("secret", line), log.npos) << json;
        EXPECT_EQ(log.find("QV: "), log.npos) << json;
    }
    EXPECT_TRUE(fake_shell().commands.empty());
}

TEST_F(MaintenanceTest, EquipmentNotes) {
    const std::string thirty(30, 'n');
    struct {
        std::string payload;
        std::string notes;
        const char* cut_line;
    } const rows[] = {
        {general_data("\"roof, 'north'\""), "roof, 'north'", ""},
        {general_data("\"" + thirty + "1\""), thirty + "1", ""},
        {general_data("\"" + thirty + "12\""), thirty + "1",
         "QV_INFO: equipment_notes cut from 32 to 31 bytes\n"},
        {general_data("\"" + thirty + "é\""), thirty,
         "QV_INFO: equipment_notes cut from 32 to 30 bytes\n"},
        {R"({"data":{}})", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.notes);
        fake().calls.clear();
        receive(R"({"type":1017,"timestamp":1,)" + row.payload.substr(1));
        EXPECT_EQ(fake().calls,
                  (std::vector<std::string>{"uciInit",
                                            "uciSet system @system[0] equipment_notes " + row.notes,
                                            "uciCommit system", "uciDestroy"}));
        const std::string line = "QV: update equipment_notes data: " + row.notes + "\n";
        EXPECT_NE(log.find(" }\n" + (row.cut_line + line) + line + "qv_set"), log.npos) << log;
        EXPECT_EQ(context.state, AGENT_STATE_RUN);
    }
    EXPECT_EQ(context.queue.count, static_cast<int32_t>(std::size(rows)));
}

TEST_F(MaintenanceTest, WifiReload) {
    fake_shell().status["wifi"] = 256;
    EXPECT_EQ(run_command(1021, "{}"), 0);
    EXPECT_EQ(fake_shell().commands, std::vector<std::string>{"wifi reload"});
}

} // namespace
