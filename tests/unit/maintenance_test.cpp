#include "agent/dispatcher.h"
#include "fake_shell.h"
#include "maintenance/fw_flash.h"
#include "support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace {

const std::string SUM = "0123456789abcdef0123456789abcdef";

/// The one request that the wifi manager gets after an upgrade.
std::vector<Bytes> notice(uint8_t value) {
    return {request_image(1, 8, {value, 0, 0, 0})};
}

class MaintenanceTest : public AgentTest {
protected:
    MaintenanceTest() {
        fake_shell() = {};
        fake_shell().output = SUM + "  image\n";
        context.broker = {1883, "192.0.2.7"};
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
    std::string with_short_path(const std::string& text) const {
        return std::regex_replace(text, std::regex(image), "IMAGE");
    }

    /// Status reports and commands of the log in their order.
    std::string steps() const {
        std::istringstream lines(with_short_path(log));
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            const size_t status = line.find("\"updata_stats\": ");
            if (line.starts_with(SHELL_LINE)) {
                result += line.substr(7) + "|";
            } else if (line.starts_with("PUB MSG") && status != line.npos) {
                result += std::to_string(atoi(line.c_str() + status + 16)) + "|";
            }
        }
        return result;
    }

    const DeviceFolder device;
    const std::string folder = device.path;
    const std::string image = folder + "/image";
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
    const char* board; ///< content of the board file
    int32_t tool_status;
    std::string standard_error;
    int32_t result; ///< of 1002
    std::string steps;
    std::string fw_params;
    const char* request = "8080 a b.img"; ///< to the download server; none: refused before
    int32_t download = 0;
    std::string md5_output = SUM + "  image\n";
};

std::vector<Upgrade> upgrades() {
    const std::string keep = params(SUM, "1", "1");
    const auto filled = [&](size_t size) { // up to that size of the command
        return keep + std::string(size - upgrade_command(1002, keep).size(), ' ');
    };
    const std::string md5 = "md5sum IMAGE|";
    const std::string kept = md5 + "202|updata_rootfs.sh IMAGE|";
    const std::string forgotten = md5 + "202|updata_rootfs.sh -n IMAGE|203|";
    const std::string failed = "Command 'updata_rootfs.sh IMAGE' failed with status 256\n";
    const std::string no_name = "Failed to get board name\n";
    const std::string no_file =
        "Failed to open /tmp/sysinfo/board_name: No such file or directory\n";
    const char* const get = "8080 a b.img";
    const std::string long_name(128, 'i');
    const std::string far_port = // 8080 more than 2 to the power of 32
        R"("image_name":"i","md5sum":"","server_ip":"","server_port":"4294975376")";
    return {
        // The boards and their tools.
        {DK07, 0, "", 0, md5 + "203|sysupgrade IMAGE|", keep},
        {DK07, 256, "", 0, md5 + "203|sysupgrade -n IMAGE|", params(SUM, "true", "0")},
        {CP01, 0, "", 203, kept + "203|reboot|", keep},
        {CP01, 0, "", 203, forgotten, params(SUM, "0", "0")},
        {MP03, 0, "", 203, forgotten, params(SUM, " 1", "1 ")},
        {MP03, 256, failed, 3, kept + "-3|", keep},
        {"ap-dk07.1-c1 \n", 0, "Unsupported board: ap-dk07.1-c1 \n", 3, md5 + "-3|", keep},
        {"", 0, no_name, 4, md5 + "-4|", keep},
        {nullptr, 0, no_file + no_name, 4, md5 + "-4|", keep},
        // No image, or not the right one.
        {MP03, 0, "", 1, "-1|", filled(300), get, -7},
        {MP03, 0, "", 1, "-1|", filled(301), nullptr},
        {MP03, 0, "", 1, "-1|", params(SUM, "1", "12345678"), nullptr},
        {MP03, 0, "", 1, "-1|", params(SUM, "7654321", "7654321"), get, 1},
        {MP03, 0, "", 1, "-1|", "\"image_name\":\"" + long_name + '"', nullptr},
        {MP03, 0, "", 1, "-1|", R"("image_name":"i\u0000mg")", nullptr},
        {MP03, 0, "", 1, "-1|", "", "0 ", 1},
        {MP03, 0, "", 1, "-1|", far_port, "2147483647 i", 1},
        {MP03, 0, "", 2, md5 + "-2|", keep, get, 0, SUM.substr(1)},
        {MP03, 0, "", 2, md5 + "-2|", params("ABCDEF", "1", "1"), get, 0, "abcdef  image\n"},
        {MP03, 0, "", 2, md5 + "-2|", R"("image_name":"i","server_port":"80")", "0 i", 0, ""},
    };
}

TEST_F(MaintenanceTest, Upgrades) {
    for (const Upgrade& row : upgrades()) {
        for (const int32_t type : {1002, 1032}) {
            const std::string payload = upgrade_command(type, row.fw_params);
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
    set_board(MP03);
    for (const auto& row : rows) {
        context.state = AGENT_STATE_RUN;
        context.busy = 1;
        context.worker_runs = row.worker_runs;
        context.stop = row.stop;
        receive(upgrade_command(1032, params(SUM, "1", "1")));
        EXPECT_EQ(steps(), row.steps);
        const bool refused = *row.steps == '\0';
        EXPECT_EQ(log.find("\nQV_ERR: firmware upgrade refused: another one runs") != log.npos,
                  refused);
        EXPECT_EQ(context.state, refused ? AGENT_STATE_RUN : AGENT_STATE_BUSY);
        EXPECT_EQ(context.busy, refused ? 1 : 0);
        EXPECT_EQ(context.worker_runs, row.worker_runs);
    }
}

TEST_F(MaintenanceTest, NoStepOfAnUpgradeBeginsAtTheEnd) {
    const std::string payload = upgrade_command(1002, params(SUM, "1", "1"));
    fake().during_request = [&] { context.stop = 1; }; // while the image is fetched
    EXPECT_EQ(run_command(1002, payload), 2);
    EXPECT_EQ(steps(), "-2|");
    fake().calls.clear();
    EXPECT_EQ(run_command(1002, payload), 1);
    EXPECT_EQ(steps(), "-1|");
    EXPECT_TRUE(fake().calls.empty());
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
    log = log_of([&] { qv_agent_process(context, *cut); });
    EXPECT_EQ(log.find("Non-printable"), log.npos);
}

TEST_F(MaintenanceTest, FlashAgain) {
    struct {
        const char* params;
        int32_t tool_status;
        const char* steps;
    } const rows[] = {
        {R"("save_config":1,"reboot":1)", 0, "updata_rootfs.sh IMAGE|2|reboot|"},
        {R"("save_config":2,"reboot":2)", 0, "updata_rootfs.sh -n IMAGE|2|"},
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
    const auto set = [&](const char* timestamp) {
        const std::string payload =
            std::string(R"({"data":{"timestamp":5},"timestamp":)") + timestamp + "}";
        EXPECT_EQ(run_command(1015, payload), 0);
        EXPECT_TRUE(log.starts_with("SUB MSG: payload=" + payload + "\n"));
        return log.substr(log.find('\n') + 1);
    };
    const struct {
        const char *timestamp, *time;
        const char* zone = "UTC";
    } rows[] = {
        {"1700000000999", "2023-11-14 22:13:20"},
        {"1700000000999", "2023-11-14 23:13:20", "CET-1"}, // changed while the agent runs
        {"-1500", "1969-12-31 23:59:59"},
        {"253402300799999", "9999-12-31 23:59:59"},
        {"\"+1700000000999\"", "2023-11-14 22:13:20"},
        {"1.7e12", "2023-11-14 22:13:20"},
    };
    for (const auto& row : rows) {
        setenv("TZ", row.zone, 1);
        const std::string command = "date -s \"" + std::string(row.time) + "\"\n";
        EXPECT_EQ(set(row.timestamp), "QV: update time command: " + command + SHELL_LINE + command);
    }
    setenv("TZ", "UTC", 1);
    for (const char* const refused :
         {"253402300800000", "9223372036854775807", "\"12abc\"", "\" 1700000000999\"",
          "\"1700000000999\\u00000\"", "\"+-1500\"", "\"\"", "\"99999999999999999999\"", "true",
          "[1700000000999]", "1,\"timestamp\":"}) {
        EXPECT_EQ(set(refused), "QV_ERR: clock not set: no timestamp that is a date\n") << refused;
    }
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

/// Each command is really run, with nothing but harmless tools in reach.
TEST_F(MaintenanceTest, PasswordReachesTheToolUnchanged) {
    write("passwd", "#!/bin/sh\n[ \"$*\" = admin ] && /bin/cat >\"${0%/*}/received\"\n");
    write("sleep", "#!/bin/sh\n");
    for (const char* tool : {"/passwd", "/sleep"}) {
        std::filesystem::permissions(folder + tool, std::filesystem::perms::owner_all);
    }
    const std::string shell = "cd " + folder + " && PATH=" + folder + " /bin/sh ";
    const std::string look = shell + "-c '[ \"$(command -v passwd)\" = " + folder + "/passwd ]'";
    if (system(look.c_str()) != 0) {
        GTEST_SKIP() << "a shell with a passwd of its own";
    }
    for (const std::string password :
         {"abc", "", "'", "a'b' 'c", "';>canary;'", "$(>canary)", "`>canary`", "\";>canary;\"",
          "\\';>canary;'", "\\", "\\c\\n\\0101\\\\x", "-n", "-neE", "-", "-x %s%d *?[a]",
          "# !{}~&|<>()", "Áé密码", "1234567890123456789"}) {
        SCOPED_TRACE(password);
        fake_shell().commands.clear();
        EXPECT_EQ(run_command(1016, general_data(json_text(password))), 0);
        ASSERT_EQ(fake_shell().commands.size(), 1U);
        const std::string& command = fake_shell().commands[0];
        EXPECT_NE(log.find("\nQV: update password command: " + command + "\n"), log.npos);
        write("command", command);
        std::filesystem::remove(folder + "/received");
        EXPECT_EQ(system((shell + "./command").c_str()), 0);
        EXPECT_EQ(read("received"), password + "\n" + password + "\n");
        EXPECT_FALSE(std::filesystem::exists(folder + "/canary"));
    }
}

TEST_F(MaintenanceTest, Passwords) {
    const std::string abc = "(echo 'abc'; sleep 1; echo 'abc') | passwd 'admin' >/dev/null 2>&1";
    const std::string none = "(echo ''; sleep 1; echo '') | passwd 'admin' >/dev/null 2>&1";
    run_command(1016, general_data(R"("abc")"));
    run_command(1016, R"({"data":7})");
    EXPECT_EQ(fake_shell().commands, (std::vector{abc, none}));
    for (const char* json :
         {R"("1234567secret4567890")", R"("ÄÖÜsecretÄÖÜÄ")", R"("secret\nx")", R"("secret\rx")",
          R"("secret\u0000x")", R"("secret\u001bx")", R"("secret\u007fx")"}) {
        EXPECT_EQ(run_command(1016, general_data(json)), 0);
        const size_t line = log.find("QV_ERR: password refused: ");
        ASSERT_NE(line, log.npos) << json;
        EXPECT_EQ(log.find("secret", line), log.npos) << json;
        EXPECT_EQ(log.find("QV: "), log.npos) << json;
    }
    EXPECT_EQ(fake_shell().commands.size(), 2U);
}

TEST_F(MaintenanceTest, EquipmentNotes) {
    const std::string thirty(30, 'n');
    struct {
        std::string payload;
        std::string notes;
        const char* cut_line;
    } const rows[] = {
        {general_data("\"roof, 'north'\""), "roof, 'north'", ""},
        {general_data("\"" + thirty + "12\""), thirty + "1",
         "QV_INFO: equipment_notes cut from 32 to 31 bytes\n"},
        {general_data("\"" + thirty + "é\""), thirty,
         "QV_INFO: equipment_notes cut from 32 to 30 bytes\n"},
        {R"({"data":{}})", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.notes);
        fake().calls.clear();
        fake().during_request = [&] { EXPECT_EQ(context.state, AGENT_STATE_BUSY); };
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

} // namespace
