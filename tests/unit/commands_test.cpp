// What the rows of the command table promise, whatever their handlers do.
#include "protocol/wifi_manager.h"
#include "support.h"

#include <regex>

using CommandsTest = AgentTest;

namespace {

/// Texts that give no member to a record; KEY is what the command looks for in "data", MEMBERS are
/// some that it would take there.
constexpr const char* WITHOUT_OBJECT[] = {
    "not json",
    "{}",
    R"({"data":"KEY"})",
    R"({"data":[{"KEY":{MEMBERS}}]})",
    R"({"KEY":{MEMBERS}})",
    R"({"data":{"KEY":{MEMBERS}})", // cut
    R"({"data":{"KEY":null}})",
    R"({"data":{"KEY":"ssid"}})",
    R"({"data":{"KEY":{"SSID":"x","Mtu":1,"":1,"wds":"1","freqlist":[1],"wifi2Flag":1}}})",
    R"({"data":{"KEY":{"ssid":null,"mode":null,"server":null,"maclist_size":null}}})",
    R"({"data":{"KEY":{"vap_list":{"ssid":"x"},"server":{"0":"x"},"radio_list":{}}}})",
    R"({"data":{"KEY":{"vap_list":["ssid",{"ssid":"second"}],"server":"x"}}})",
};
constexpr const char* MEMBERS =
    R"("ssid":"x","mtu":"1","hostname":"x","channel":1,"maclist_size":1,"radio_list":[{}])";

std::string replaced(const std::string& text, const std::string& old, const std::string& by) {
    return std::regex_replace(text, std::regex(old), by);
}

} // namespace

TEST_F(CommandsTest, LinesOfReportsOnRequest) {
    const struct {
        int32_t command;
        bool shows_payload;
        const char* statistics; ///< as the line names them when there is no such report
    } rows[] = {
        {1023, true, "radio"},   {1024, true, "radio"},   {1025, true, "radio"},
        {1026, true, "radio"},   {1027, true, "system"},  {1028, false, "system"},
        {1029, false, "system"}, {1030, false, "system"}, {1031, false, "system"},
        {1034, true, "radio"},
    };
    const std::span<const ReportKind> catalogue = context.report_kinds;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        const std::string first = row.shows_payload ? "SUB MSG:payload=%s not parsed\n" : "";
        context.report_kinds = catalogue;
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log), first);
        context.report_kinds = {};
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log),
                  first + "QV_ERR: failed to fetch " + std::string(row.statistics) + " stats..\n");
        EXPECT_EQ(published(log), std::vector<std::string>{""});
    }
    for (const int32_t command : {1003, 1004, 1005, 1011, 1012, 1013}) {
        run_command(command, "{}");
        EXPECT_NE(log.find("QV_ERR: failed to fetch system stats..\n"), log.npos) << command;
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
