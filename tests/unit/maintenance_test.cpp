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
    return std::vector<Bytes>(1, request_image(1, 8, {value, 0, 0, 0}));
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

    /// Status reports and commands of a log in their order; IMAGE stands for the image's path.
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
        for (size_t at = 0; (at = result.find(image)) != result.npos;) {
            result.replace(at, image.size(), "IMAGE");
        }
        return result;
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

std::string upgrade_command(int type, const std::string& sum, const std::string& save_config,
                            const std::string& reboot) {
    return R"({"type":)" + std::to_string(type) +
           R"(,"timestamp":1,"data":{"fw_params":{"image_name":"a b.img","md5sum":")" + sum +
           R"(","server_ip":"198.51.100.1","server_port":8080,"save_config":")" + save_config +
           R"(","reboot":")" + reboot + R"("}}})";
}

TEST_F(MaintenanceTest, Upgrade) {
    const char* const DK07 = "ap-dk07.1-c1\n";
    const char* const CP01 = "qcom,ipq6018-ap-cp01-c4\n";
    const char* const MP03 = "qcom,ipq5018-ap-mp03.5-c2";
    struct {
        const char* board; ///< content of the board file; none: no file
        const char* save_config;
        const char* reboot;
        int32_t tool_status;
        const char* steps; ///< after md5sum
        int32_t result;
        const char* standard_error;
    } const rows[] = {
        {DK07, "1", "1", 0, "203|sysupgrade IMAGE|", 0, ""},
        {DK07, "true", "0", 256, "203|sysupgrade -n IMAGE|", 0, ""},
        {DK07, "", "0", -1, "203|sysupgrade -n IMAGE|", 0, ""},
        {CP01, "1", "1", 0, "202|updata_rootfs.sh IMAGE|203|reboot|", 203, ""},
        {CP01, "0", "0", 0, "202|updata_rootfs.sh -n IMAGE|203|", 203, ""},
        {MP03, " 1", "1 ", 0, "202|updata_rootfs.sh -n IMAGE|203|", 203, ""},
        {MP03, "1", "1", 256, "202|updata_rootfs.sh IMAGE|-3|", 3,
         "Command 'updata_rootfs.sh IMAGE' failed with status 256\n"},
        {CP01, "0", "1", -1, "202|updata_rootfs.sh -n IMAGE|-3|", 3,
         "Command 'updata_rootfs.sh -n IMAGE' failed with status -1\n"},
        {"qcom,ipq6018-ap-cp01-c4 \n", "1", "1", 0, "-3|", 3,
         "Unsupported board: qcom,ipq6018-ap-cp01-c4 \n"},
        {"\nap-dk07.1-c1\n", "1", "1", 0, "-3|", 3, "Unsupported board: \n"},
        {"", "1", "1", 0, "-4|", 4, "Failed to get board name\n"},
        {nullptr, "1", "1", 0, "-4|", 4,
         "Failed to open /tmp/sysinfo/board_name: No such file or directory\n"
         "Failed to get board name\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.steps) + " " + (row.board != nullptr ? row.board : "-"));
        std::filesystem::remove(folder + "/board_name");
        if (row.board != nullptr) {
            write("board_name", row.board);
        }
        fake() = {};
        fake_shell().status = {{"sysupgrade", row.tool_status},
                               {"updata_rootfs.sh", row.tool_status}};
        context.busy = 1;
        testing::internal::CaptureStderr();
        EXPECT_EQ(run_command(1002, upgrade_command(1002, SUM, row.save_config, row.reboot)),
                  row.result);
        std::string errors = testing::internal::GetCapturedStderr();
        if (const size_t at = errors.find(image); at != errors.npos) {
            errors.replace(at, image.size(), "IMAGE");
        }
        EXPECT_EQ(errors, row.standard_error);
        EXPECT_EQ(steps(), std::string("md5sum IMAGE|") + row.steps);
        EXPECT_EQ(fake().calls, std::vector<std::string>{"file_request 192.0.2.7 8080 a b.img"});
        EXPECT_EQ(fake().requests, row.result == 0 ? notice(0) : std::vector<Bytes>{});
        EXPECT_EQ(context.busy, 1); // a background job's that waits for its turn
    }
}

TEST_F(MaintenanceTest, UpgradeWithoutVerifiedImage) {
    const std::string padding(300 - upgrade_command(1002, SUM, "1", "1").size(), ' ');
    const std::string no_sum =
        R"({"data":{"fw_params":{"image_name":"i","server_ip":"","server_port":"80"}}})";
    struct {
        std::string payload;
        int32_t download;
        std::string md5_output;
        const char* steps;
        const char* request; ///< to the download server; none: refused before
    } const rows[] = {
        {upgrade_command(1002, SUM, "1", "1") + padding, -7, "", "-1|", "8080 a b.img"},
        {upgrade_command(1002, SUM, "1", "1") + padding + " ", 0, "", "-1|", nullptr},
        {upgrade_command(1002, SUM, "1", "12345678"), 0, "", "-1|", nullptr},
        {upgrade_command(1002, SUM, "1234567", "1234567"), -1, "", "-1|", "8080 a b.img"},
        {R"({"data":{"fw_params":{"image_name":")" + std::string(128, 'i') + R"("}}})", 0, "",
         "-1|", nullptr},
        {upgrade_command(1002, SUM, "1", "1"), 0, SUM.substr(1), "md5sum IMAGE|-2|",
         "8080 a b.img"},
        {upgrade_command(1002, "ABCDEF", "1", "1"), 0, "abcdef  image\n", "md5sum IMAGE|-2|",
         "8080 a b.img"},
        {no_sum, 0, "", "md5sum IMAGE|-2|", "0 i"},
        {no_sum, 0, SUM + "  image\n", "md5sum IMAGE|-2|", "0 i"},
        {"{", 1, "", "-1|", "0 "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.payload);
        fake() = {};
        fake().file_request_result = row.download;
        fake_shell().output = row.md5_output;
        context.busy = 1;
        const bool failed_before_image = std::string_view(row.steps) == "-1|";
        EXPECT_EQ(run_command(1002, row.payload), failed_before_image ? 1 : 2);
        EXPECT_EQ(steps(), row.steps);
        EXPECT_EQ(fake().requests, failed_before_image ? notice(1) : std::vector<Bytes>{});
        EXPECT_EQ(fake().calls,
                  row.request == nullptr
                      ? std::vector<std::string>{}
                      : std::vector{std::string("file_request 192.0.2.7 ") + row.request});
        const size_t error_line = log.find("QV_ERR: firmware upgrade refused: ");
        EXPECT_EQ(error_line == log.npos, row.request != nullptr);
        EXPECT_EQ(context.busy, 1);
    }
}

TEST_F(MaintenanceTest, UpgradeLog) {
    write("board_name", "qcom,ipq6018-ap-cp01-c4\n");
    const std::string payload = upgrade_command(1002, SUM, "1", "1") + "\t";
    run_command(1002, payload);
    EXPECT_EQ(without_reports(log),
              "plyload: " + payload + "\n-------------------------------\n" +
                  "Non-printable character detected at index " +
                  std::to_string(payload.size() - 1) + ": 0x9\npayload:" + payload +
                  "\nimage_name: a b.img\nserver_ip: 192.0.2.7\nserver_port: 8080\nmd5sum: " + SUM +
                  "\nsave_config: 1\nreboot: 1\nmd5 cmd = md5sum " + image + "\nshell: md5sum " +
                  image + "\nQV: flashing command: updata_rootfs.sh " + image +
                  "\nshell: updata_rootfs.sh " + image +
                  "\nQV: reboot now:-203,1\nshell: reboot\n");

    // A queued text ends at its first NUL, while its length is the received one.
    const ControllerMsgPtr cut = qv_new_controller_msg(context, 1002, "{}", 250);
    const auto row = std::ranges::find(context.commands, 1002, &Command::type);
    log = log_of([&] { row->handler(context, cut->payload.get(), cut->len); });
    EXPECT_EQ(log.find("Non-printable"), log.npos);
}

TEST_F(MaintenanceTest, UpgradeInTheBackground) {
    write("board_name", "qcom,ipq5018-ap-mp03.5-c2\n");
    const std::string command = upgrade_command(1032, SUM, "0", "1");
    receive(command);
    EXPECT_EQ(steps(), "201|md5sum IMAGE|202|updata_rootfs.sh -n IMAGE|203|reboot|");
    EXPECT_LT(log.find("201"), log.find("\nQV_INFO: flashing rootfs:" + command + "\nplyload: "));
    EXPECT_TRUE(fake().requests.empty()); // no notice
    EXPECT_EQ(context.busy, 0);
    EXPECT_EQ(context.state, AGENT_STATE_BUSY);
    EXPECT_EQ(context.queue.count, 0);

    receive(R"({"type":1032,"timestamp":1,"data":)" + std::string(300, ' ') + "1}");
    EXPECT_EQ(steps(), "201|-1|");
    EXPECT_EQ(context.busy, 0);

    // Every failure clears it.
    fake_shell().status["updata_rootfs.sh"] = 256;
    receive(command);
    EXPECT_EQ(steps(), "201|md5sum IMAGE|202|updata_rootfs.sh -n IMAGE|-3|");
    EXPECT_EQ(context.busy, 0);
    std::filesystem::remove(folder + "/board_name");
    receive(command);
    EXPECT_EQ(steps(), "201|md5sum IMAGE|-4|");
    EXPECT_EQ(context.busy, 0);
    receive(upgrade_command(1032, "ABC", "0", "1"));
    EXPECT_EQ(steps(), "201|md5sum IMAGE|-2|");
    EXPECT_EQ(context.busy, 0);
    fake().file_request_result = 1;
    receive(command);
    EXPECT_EQ(steps(), "201|-1|");
    EXPECT_EQ(context.busy, 0);
    fake().file_request_result = 0;

    write("board_name", "ap-dk07.1-c1");
    context.state = AGENT_STATE_RUN;
    receive(upgrade_command(1032, SUM, "1", "0"));
    EXPECT_EQ(steps(), "201|md5sum IMAGE|203|sysupgrade IMAGE|");
    EXPECT_EQ(context.busy, 1);

    // The device restarts any moment now.
    context.state = AGENT_STATE_RUN;
    receive(command);
    EXPECT_EQ(steps(), "");
    EXPECT_NE(log.find("\nQV_ERR: firmware upgrade refused: another one runs"), log.npos);
    EXPECT_EQ(context.state, AGENT_STATE_RUN);
    EXPECT_EQ(context.busy, 1);

    context.busy = 0;
    context.stop = 1;
    receive(command);
    EXPECT_EQ(steps(), "");
    EXPECT_EQ(context.busy, 0);
}

TEST_F(MaintenanceTest, FlashAgain) {
    struct {
        const char* data;
        int32_t tool_status;
        const char* steps;
    } const rows[] = {
        {R"({"flash_params":{"save_config":1,"reboot":1}})", 0, "updata_rootfs.sh IMAGE|2|reboot|"},
        {R"({"flash_params":{"save_config":"1","reboot":true}})", 0,
         "updata_rootfs.sh IMAGE|2|reboot|"},
        {R"({"flash_params":{"save_config":0,"reboot":2}})", 0, "updata_rootfs.sh -n IMAGE|2|"},
        {R"({"flash_params":{"reboot":1}})", 0, "updata_rootfs.sh -n IMAGE|2|"},
        {R"({"flash_params":{"save_config":1}})", 0, "updata_rootfs.sh IMAGE|2|"},
        {R"({})", 0, "updata_rootfs.sh -n IMAGE|2|"},
        {R"({"flash_params":{"save_config":1,"reboot":1}})", 256, "updata_rootfs.sh IMAGE|-256|"},
        {R"({"flash_params":{"save_config":1,"reboot":1}})", 9, "updata_rootfs.sh IMAGE|-9|"},
        {R"({"flash_params":{"save_config":1,"reboot":1}})", -1, "updata_rootfs.sh IMAGE|1|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.data);
        fake_shell().status = {{"updata_rootfs.sh", row.tool_status}};
        context.busy = 1; // runs beside a worker
        context.state = AGENT_STATE_ANNOUNCE;
        testing::internal::CaptureStderr();
        receive(R"({"type":1033,"timestamp":1,"data":)" + std::string(row.data) + "}");
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(steps(), row.steps);
        EXPECT_EQ(
            errors.ends_with("' failed with status " + std::to_string(row.tool_status) + "\n"),
            row.tool_status != 0);
        EXPECT_EQ(context.busy, 1);
        EXPECT_EQ(context.state, AGENT_STATE_ANNOUNCE);
        EXPECT_EQ(context.queue.count, 0);
    }
}

TEST_F(MaintenanceTest, Clock) {
    setenv("TZ", "UTC", 1);
    tzset();
    struct {
        const char* timestamp;
        const char* time; ///< none: refused
    } const rows[] = {
        {"1700000000999", "2023-11-14 22:13:20"},
        {"\"1700000000999\"", "2023-11-14 22:13:20"},
        {"-1500", "1969-12-31 23:59:59"},
        {"4102444800000", "2100-01-01 00:00:00"},
        {"253402300799999", "9999-12-31 23:59:59"},
        {"253402300800000", nullptr},
        {"9223372036854775807", nullptr},
        {"-9223372036854775808", nullptr},
        {"\"soon\"", nullptr},
        {"null", nullptr},
        {"true", nullptr},
        {"[1700000000999]", nullptr},
        {"1,\"timestamp\":", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.timestamp);
        fake_shell() = {};
        const std::string payload =
            std::string(R"({"data":{"timestamp":5},"timestamp":)") + row.timestamp + "}";
        EXPECT_EQ(run_command(1015, payload), 0);
        std::string expected = "SUB MSG: payload=" + payload + "\n";
        if (row.time == nullptr) {
            expected += "QV_ERR: clock not set: no timestamp that is a date\n";
        } else {
            const std::string command = "date -s \"" + std::string(row.time) + "\"\n";
            expected.append("QV: update time command: ").append(command);
            expected.append(SHELL_LINE).append(command);
        }
        EXPECT_EQ(log, expected);
    }
    fake_shell() = {};
    run_command(1015, "{}");
    EXPECT_TRUE(fake_shell().commands.empty());

    setenv("TZ", "CET-1", 1); // while the agent runs
    run_command(1015, R"({"timestamp":1700000000999})");
    EXPECT_EQ(fake_shell().commands, std::vector<std::string>{"date -s \"2023-11-14 23:13:20\""});
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
    const char* const passwords[] = {
        "abc",
        "",
        "'",
        "'",
        "a'b' 'c",
        "';>canary;'",
        "$(>canary)",
        "`>canary`",
        "\";>canary;\"",
        "\\';>canary;'",
        "\\",
        "\\c\\n\\0101\\\\x",
        "-n",
        "-neE",
        "-",
        "-x %s%d *?[a]",
        "# !{}~&|<>()",
        "Áé密码",
        "1234567890123456789",
    };
    for (const std::string password : passwords) {
        SCOPED_TRACE(password);
        fake_shell() = {};
        EXPECT_EQ(run_command(1016, general_data(json_text(password))), 0);
        ASSERT_EQ(fake_shell().commands.size(), 1U);
        const std::string& command = fake_shell().commands[0];
        EXPECT_NE(log.find("\nQV: update password command: " + command + "\n"), log.npos);
        write("command", command);
        for (const std::string shell : {"/bin/sh", "/bin/bash"}) {
            // A shell that is not here, or that would run a passwd of its own, is left out.
            const std::string in_folder = "cd " + folder + " && PATH=" + folder + " " + shell + " ";
            const std::string look =
                "[ \"$(" + in_folder + "-c 'command -v passwd')\" = " + folder + "/passwd ] 2>&-";
            if (shell != "/bin/sh" && system(look.c_str()) != 0) {
                continue;
            }
            ASSERT_EQ(system(look.c_str()), 0);
            std::filesystem::remove(folder + "/received");
            EXPECT_EQ(system((in_folder + "./command").c_str()), 0) << shell;
            const std::string line = password + "\n";
            EXPECT_EQ(read("received"), line + line) << shell;
            EXPECT_FALSE(std::filesystem::exists(folder + "/canary")) << shell;
        }
    }
}

TEST_F(MaintenanceTest, Passwords) {
    const std::string abc = "(echo 'abc'; sleep 1; echo 'abc') | passwd 'admin' >/dev/null 2>&1";
    EXPECT_EQ(run_command(1016, general_data(R"("abc")")), 0);
    EXPECT_EQ(fake_shell().commands, std::vector{abc});
    EXPECT_EQ(abc.size(), 66U);

    for (const char* payload : {"{}", R"({"data":7})", "{\"data\":", R"({"data":{}})"}) {
        fake_shell() = {};
        EXPECT_EQ(run_command(1016, payload), 0) << payload;
        EXPECT_EQ(fake_shell().commands,
                  std::vector<std::string>{
                      "(echo ''; sleep 1; echo '') | passwd 'admin' >/dev/null 2>&1"});
    }

    struct {
        const char* json;
        const char* shown; ///< must not be, behind the payload's own lines
    } const refused[] = {
        {R"("12345678901234567890")", "1234567"},
        {R"("ÄÖÜÄÖÜÄÖÜÄ")", "ÄÖÜ"},
        {R"("secret\nx")", "secret"},
        {R"("secret\u0000x")", "secret"},
        {R"("secret\u001bx")", "secret"},
        {R"("secret\u007fx")", "secret"},
    };
    fake_shell() = {};
    for (const auto& row : refused) {
        EXPECT_EQ(run_command(1016, general_data(row.json)), 0);
        const size_t line = log.find("QV_ERR: password refused: ");
        ASSERT_NE(line, log.npos) << row.json;
        EXPECT_EQ(log.find(row.shown, line), log.npos) << row.json;
        EXPECT_EQ(log.find("QV: "), log.npos) << row.json;
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
        {general_data("\"" + std::string(5000, 'n') + "\""), thirty + "n",
         "QV_INFO: equipment_notes cut from 5000 to 31 bytes\n"},
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
        std::string lines = row.cut_line;
        lines.append(line).append(line);
        EXPECT_NE(log.find(" }\n" + lines + "qv_set"), log.npos) << log;
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
