#include "settings/system_config.h"
#include "text_fields.h"

#include <algorithm>

namespace {

using SettingsTest = AgentTest;

const TextField FIELDS[] = {
    {0, 40, "hostname"},        {40, 40, "zonename"},      {80, 40, "timezone"},
    {120, 10, "log_size"},      {130, 16, "log_ip"},       {146, 16, "log_port"},
    {162, 10, "conloglevel"},   {172, 10, "cronloglevel"}, {182, 10, "enabled"},
    {192, 10, "enable_server"},
};

/// That many servers are named in the command.
struct Example : TextFieldsExample {
    std::string servers;

    explicit Example(uint32_t named, bool empty = false) : TextFieldsExample(708, FIELDS, empty) {
        const uint32_t count = std::min(named, 10U);
        image.number(704, count, 4);
        lines += "server_size: " + std::to_string(count) + "\n";
        for (uint32_t i = 0; i < named; ++i) {
            const std::string name = "ntp-" + std::to_string(i);
            servers += (i == 0 ? "\"" : ", \"") + name + "\"";
            if (i < count) {
                image.text(202 + 50 * i, name);
                lines += "server[" + std::to_string(i) + "]: " + name + "\n";
            }
        }
    }
    std::string data(bool with_servers) const {
        return R"("data": { "uci_system": { )" + members +
               (with_servers ? R"(, "server": [ )" + servers + " ]" : "") + " } } }";
    }
};

std::string command_with(const std::string& members) {
    return R"({"type":1003,"data":{"uci_system":{)" + members + "}}}";
}

} // namespace

TEST_F(SettingsTest, EveryFieldInBothDirections) {
    for (const uint32_t servers : {0, 1, 9, 10, 11}) {
        SCOPED_TRACE(servers);
        const Example example(servers);
        fake().acknowledge(10);
        fake().replies[11] = example.image;
        fake().requests.clear();
        EXPECT_EQ(run_command(1003, "{ " + example.data(true)), 0);
        EXPECT_EQ(fake().requests, (std::vector<Bytes>{request_image(2, 10, example.image),
                                                       request_image(2, 11, {})}));
        EXPECT_EQ(without_reports(log), example.lines);
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].starts_with("{ \"type\": 1008, "));
        const bool reported = servers == 1 || servers == 9;
        EXPECT_TRUE(published(log)[0].ends_with(", " + example.data(reported))) << log;
    }
}

TEST_F(SettingsTest, SilentWifiManagerAndRefusedReport) {
    const Example empty(0, true);
    EXPECT_EQ(run_command(1003, "{}"), -1);
    EXPECT_EQ(without_reports(log), empty.lines);
    EXPECT_TRUE(published(log).at(0).ends_with(", " + empty.data(false)));
    EXPECT_EQ(run_command(1027, "{ }"), 0);
    EXPECT_EQ(without_reports(log), "SUB MSG:payload={ }\n");
    EXPECT_TRUE(published(log).at(0).ends_with(", " + empty.data(false)));
    context.report_kinds = {};
    run_command(1003, "{}");
    EXPECT_EQ(without_reports(log), empty.lines + "QV_ERR: failed to fetch system stats..\n");
}

TEST_F(SettingsTest, RepliesAreNotTrusted) {
    const std::string name(50, 's');
    for (const uint32_t count : {11U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        fake().replies[11] = Example(0).image.number(704, count, 4);
        EXPECT_EQ(report_data(9).find("\"server\""), std::string::npos) << count;
    }
    fake().replies[11] = Example(0).image.text(202, name + name).number(704, 2, 4);
    const std::string data = report_data(9);
    EXPECT_TRUE(data.ends_with("\"server\": [ \"" + name + "\", \"" + name + "\" ] } }")) << data;
}

TEST_F(SettingsTest, WhatACommandStores) {
    const std::string text45 = "012345678901234567890123456789012345678901234";
    const struct {
        std::string command;
        Image record;
    } rows[] = {
        {command_with(R"("hostname":")" + text45 + "\""), Image(708).text(0, text45.substr(0, 40))},
        {command_with(R"("log_port":514,"enabled":false,"log_size":null,"zonename":{"a":1})"),
         Image(708).text(146, "514").text(182, "false").text(40, R"({ "a": 1 })")},
        {command_with(R"("HOSTNAME":"x","servers":["x"],"Server":["x"],"":"x")"), Image(708)},
        {command_with(R"("timezone":"a\/b","server":["x"],"enable_server":"01234567890")"),
         Image(708).text(80, "a/b").text(202, "x").number(704, 1, 4).text(192, "0123456789")},
        {command_with(R"("server":"ntp")"), Image(708)},
        {command_with(R"("server":{"0":"ntp"})"), Image(708)},
        {command_with(R"("server":null)"), Image(708)},
        {R"({"data":{"uci_system":["hostname"]}})", Image(708)},
        {R"({"uci_system":{"hostname":"x"}})", Image(708)},
        {R"({"data":{"uci_system":{"hostname":"x")", Image(708)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        fake().requests.clear();
        run_command(1003, row.command);
        EXPECT_EQ(fake().requests.at(0), request_image(2, 10, row.record));
    }
}

TEST_F(SettingsTest, ServerNamesFitTheirSlot) {
    const auto text = [](size_t size, const char* end = "") {
        return std::string(size, 's') + end;
    };
    const auto quoted = [](const std::string& name) { return '"' + name + '"'; };
    const struct {
        std::string element, stored;
        bool cut;
    } rows[] = {
        {R"("a\"b\\c\/d")", R"(a"b\c/d)", false},
        {R"("a\nb\u0001")", "anbu0001", false},
        {R"("")", "", false},
        {"5", "5", false},
        {"2.50", "2.50", false},
        {"true", "true", false},
        {"null", "null", false},
        {R"({"a":["b/c",null]})", "{ a: [ b/c, null ] }", false},
        {quoted(text(49)), text(49), false},
        {quoted(text(50)), text(49), true},
        {quoted(text(60)), text(49), true},
        {quoted(text(100000)), text(49), true},
        {quoted(text(47, "\u00E9")), text(47, "\u00E9"), false},
        {quoted(text(48, "\u00E9")), text(48), true},
        {quoted(text(48, "\u00E9tail")), text(48), true},
        {quoted(text(47, "\u20AC")), text(47), true},
        {quoted(text(46, "\U0001F600")), text(46), true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.element.substr(0, 80));
        fake().requests.clear();
        run_command(1003, command_with("\"server\":[\"before\"," + row.element + ",\"after\"]"));
        EXPECT_EQ(fake().requests.at(0), request_image(2, 10,
                                                       Image(708)
                                                           .text(202, "before")
                                                           .text(252, row.stored)
                                                           .text(302, "after")
                                                           .number(704, 3, 4)));
        const std::string line = "QV_INFO: server[1] does not fit, cut to " +
                                 std::to_string(row.stored.size()) + " bytes\n";
        EXPECT_EQ(log.starts_with(line), row.cut) << log;
        EXPECT_NE(log.find("server[1]: " + row.stored + "\n"), std::string::npos) << log;
    }
}

TEST(JsonUnescapeTest, KeepsToItsDestination) {
    const struct {
        const char* source;
        size_t capacity;
        const char* expected;
    } rows[] = {
        {R"("a\/b\\\"c")", 16, R"(a/b\"c)"},
        {"tail\\", 16, "tail"},
        {"\"\"", 16, ""},
        {"abc", 4, "abc"},
        {"abcd", 4, "abc"},
        {R"(ab\\\\)", 4, R"(ab\)"},
        {"a", 1, ""},
        {"a", 0, "untouched"},
    };
    for (const auto& row : rows) {
        char destination[16] = "untouched";
        EXPECT_EQ(qv_json_unescape(row.source, std::span(destination, row.capacity)), 0);
        EXPECT_STREQ(destination, row.expected) << row.source;
    }
}
