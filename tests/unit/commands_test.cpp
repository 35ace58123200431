// What the rows of the command table promise, whatever their handlers do.
#include "protocol/wifi_manager.h"
#include "support.h"

#include <algorithm>

using CommandsTest = AgentTest;

namespace {

const std::string RADIO_ERROR = "QV_ERR: failed to fetch radio stats..\n";
const std::string SYSTEM_ERROR = "QV_ERR: failed to fetch system stats..\n";

/// Texts that give no member to a record; KEY is what the command looks for in "data", MEMBERS are
/// some that it would take there.
constexpr const char* WITHOUT_OBJECT[] = {
    "not json",
    "",
    "7",
    "{}",
    R"({"data":null})",
    R"({"data":"KEY"})",
    R"({"data":[{"KEY":{MEMBERS}}]})",
    R"({"KEY":{MEMBERS}})",
    R"({"data":{"KEY":{MEMBERS}})", // cut
    R"({"data":{"KEY":null}})",
    R"({"data":{"KEY":["ssid"]}})",
    R"({"data":{"KEY":"ssid"}})",
    R"({"data":{"KEY":{"SSID":"x","Mtu":1,"":1,"wds":"1","freqlist":[1],"wifi2Flag":1}}})",
    R"({"data":{"KEY":{"ssid":null,"mode":null,"server":null,"maclist_size":null}}})",
    R"({"data":{"KEY":{"vap_list":{"ssid":"x"},"server":{"0":"x"},"radio_list":{}}}})",
    R"({"data":{"KEY":{"vap_list":["ssid",{"ssid":"second"}],"server":"x"}}})",
};
constexpr const char* MEMBERS =
    R"("ssid":"x","mtu":"1","hostname":"x","channel":1,"maclist_size":1,"radio_list":[{}])";

std::string replaced(std::string text, const std::string& old, const std::string& by) {
    const size_t place = text.find(old);
    return place == text.npos ? text : text.replace(place, old.size(), by);
}

} // namespace

TEST_F(CommandsTest, AnswerWithTheirReport) {
    const struct {
        int32_t command;
        bool shows_payload;
        std::string type;
        std::string data;  ///< how it begins while the wifi manager is silent
        std::string error; ///< when the catalogue does not hold the kind
    } rows[] = {
        {1023, true, "1004", R"("ap_stats_list": [ ] } })", RADIO_ERROR},
        {1024, true, "1005", R"("sta_stats_list": [ ] } })", RADIO_ERROR},
        {1025, true, "1006", R"("radio_stats_list": [ ] } })", RADIO_ERROR},
        {1026, true, "1007", R"("interface_stats_list": [ ] } })", RADIO_ERROR},
        {1027, true, "1008", R"("uci_system": { "hostname": "", )", SYSTEM_ERROR},
        {1028, false, "1009", R"("uci_vap_list": [ ] } })", SYSTEM_ERROR},
        {1029, false, "1011", R"("uci_network_lan": { "macaddr": "", )", SYSTEM_ERROR},
        {1030, false, "1012", R"("uci_network_wan": { "proto": "", )", SYSTEM_ERROR},
        {1031, false, "1013", R"("uci_network_wan6": { "proto": "", )", SYSTEM_ERROR},
        {1034, true, "1003", R"("system_stats": { "hw_name": "", )", RADIO_ERROR},
    };
    const std::span<const ReportKind> catalogue = context.report_kinds;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        const std::string first = row.shows_payload ? "SUB MSG:payload=%s not parsed\n" : "";
        context.report_kinds = catalogue;
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log), first);
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].starts_with("{ \"type\": " + row.type + ", ")) << log;
        EXPECT_NE(published(log)[0].find("\"data\": { " + row.data), std::string::npos) << log;

        context.report_kinds = {};
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log), first + row.error);
        EXPECT_EQ(published(log), std::vector<std::string>{""});
    }
    for (const int32_t command : {1003, 1004, 1005, 1011, 1012, 1013}) {
        run_command(command, "{}");
        EXPECT_NE(log.find(SYSTEM_ERROR), std::string::npos) << command;
    }
}

TEST_F(CommandsTest, WithoutTheirObjectSendZeros) {
    const struct {
        int32_t command;
        uint8_t module, message;
        std::string key;
    } rows[] = {
        {1001, 1, 9, "apconfigs"},        {1003, 2, 10, "uci_system"},
        {1004, 1, 15, "vap_config"},      {1005, 1, 22, "general_data"},
        {1007, 1, 23, "vap_config"},      {1011, 3, 13, "uci_network_lan"},
        {1012, 3, 17, "uci_network_wan"}, {1013, 3, 19, "uci_network_wan6"},
        {1019, 1, 25, "general_data"},
    };
    for (const auto& row : rows) {
        for (const char* const text : WITHOUT_OBJECT) {
            const std::string payload =
                replaced(replaced(text, "KEY", row.key), "MEMBERS", MEMBERS);
            SCOPED_TRACE(std::to_string(row.command) + " " + payload);
            fake().requests.clear();
            run_command(row.command, payload);
            ASSERT_FALSE(fake().requests.empty());
            const size_t size = fake().requests[0].size() - sizeof(WifiMgrMsg);
            EXPECT_EQ(fake().requests[0], request_image(row.module, row.message, Bytes(size)));
        }
    }
}

TEST_F(CommandsTest, Endings) {
    for (const int32_t type : {1011, 1012, 1013, 1029, 1030, 1031}) {
        SCOPED_TRACE(type);
        const auto command = std::ranges::find(context.commands, type, &Command::type);
        EXPECT_TRUE(command->busy_first);
        EXPECT_EQ(command->ending,
                  type == 1031 ? CommandEnding::refresh_identity : CommandEnding::reconnect);
        EXPECT_STREQ(command->identity_failure, type == 1029 ? "Fail to fetch device mac addr .."
                                                             : "Fail to fetch device mac addr..");
    }
}
