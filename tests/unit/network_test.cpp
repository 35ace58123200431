#include "text_fields.h"

#include <algorithm>

namespace {

using NetworkTest = AgentTest;

const TextField LAN_FIELDS[] = {
    {0, 32, "macaddr", "MAC address"},
    {32, 32, "proto", "Protocol"},
    {64, 32, "ipaddr", "IP address"},
    {96, 32, "netmask", "Netmask"},
    {128, 32, "gateway", "Gateway"},
    {160, 32, "broadcast", "Broadcast"},
    {192, 32, "ip6assign", "IPv6 assign"},
    {224, 32, "ip6hint", "IPv6 hint"},
    {256, 32, "mtu", "MTU"},
    {288, 32, "metric", "Metric"},
    {320, 32, "_orig_ifname"},
    {352, 8, "_orig_bridge"},
    {360, 8, "stp", "STP"},
    {368, 32, "ifname", "Interface name"},
    {400, 32, "dhcpLanStart", "DHCP LAN start"},
    {432, 32, "dhcpLanLimit", "DHCP LAN limit"},
    {464, 32, "dhcpLanLeaseTime", "DHCP LAN lease time"},
    {496, 32, "dhcpLandHcpv6", "DHCP land Hcpv6"},
    {528, 32, "dhcpLanRa", "DHCP LAN RA"},
    {560, 8, "dhcpLanRaManagement", "DHCP LAN RA management"},
    {568, 32, "dhcpLanNdp", "DHCP LAN NDP"},
    {600, 32, "dhcpLanRaDefault", "DHCP LAN RA default"},
    {632, 32, "dhcpLanDynamicDhcp", "DHCP LAN dynamic DHCP"},
    {664, 32, "dhcpLanForce", "DHCP LAN force"},
    {696, 8, "dhcpLanIgnore", "DHCP LAN ignore"},
    {704, 32, "dhcpLanNetmask", "DHCP LAN netmask"},
};
const TextField WAN_FIELDS[] = {
    {0, 32, "proto"},        {32, 32, "hostname"}, {64, 8, "delegate"},   {72, 8, "broadcast"},
    {80, 8, "defaultroute"}, {88, 32, "metric"},   {120, 32, "vendorid"}, {152, 32, "clientid"},
    {184, 32, "macaddr"},    {216, 32, "mtu"},
};
const TextField WAN6_FIELDS[] = {
    {0, 32, "proto"},      {32, 32, "reqaddress"},   {64, 32, "reqprefix"},
    {96, 8, "delegate"},   {104, 8, "defaultroute"}, {112, 32, "ip6prefix"},
    {144, 32, "clientid"}, {176, 32, "macaddr"},     {208, 32, "mtu"},
};

const struct {
    int32_t command, on_request, kind;
    uint8_t apply, read;
    size_t size;
    std::string key;
    std::span<const TextField> fields;
} FAMILIES[] = {
    {1011, 1029, 12, 13, 14, 736, "uci_network_lan", LAN_FIELDS},
    {1012, 1030, 13, 17, 18, 248, "uci_network_wan", WAN_FIELDS},
    {1013, 1031, 14, 19, 20, 240, "uci_network_wan6", WAN6_FIELDS},
};

} // namespace

TEST_F(NetworkTest, EveryFieldInBothDirections) {
    for (const auto& family : FAMILIES) {
        SCOPED_TRACE(family.key);
        const auto data = [&](const TextFieldsExample& example) {
            return "\"data\": { \"" + family.key + "\": { " + example.members + " } } }";
        };
        const TextFieldsExample full(family.size, family.fields, false);
        const TextFieldsExample empty(family.size, family.fields, true);
        const std::string command = "{ " + data(full);
        const std::string shown = family.command == 1013 ? "SUB MSG:payload=" + command + "\n" : "";

        fake().replies[family.read] = full.image;
        fake().requests.clear();
        EXPECT_EQ(run_command(family.command, command), 0); // although the apply is not answered
        const std::vector<Bytes> expected = {request_image(3, family.apply, full.image),
                                             request_image(3, family.read, {})};
        EXPECT_EQ(fake().requests, expected);
        EXPECT_EQ(without_reports(log), shown + full.lines);
        ASSERT_EQ(published(log).size(), 1U);
        const std::string type = std::to_string(family.kind + 999);
        EXPECT_TRUE(published(log)[0].starts_with("{ \"type\": " + type + ", ")) << log;
        EXPECT_TRUE(published(log)[0].ends_with(", " + data(full))) << log;

        fake().replies.clear();
        fake().requests.clear();
        EXPECT_EQ(run_command(family.on_request, command), 0);
        EXPECT_EQ(fake().requests, std::vector<Bytes>{expected[1]});
        EXPECT_EQ(without_reports(log), "");
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].ends_with(", " + data(empty))) << log;
    }
}

TEST_F(NetworkTest, WhatACommandStores) {
    const std::string text40 = "0123456789012345678901234567890123456789";
    const auto lan = [](const std::string& members) {
        return R"({"data":{"uci_network_lan":{)" + members + "}}}";
    };
    const struct {
        std::string command;
        Image record;
    } rows[] = {
        {lan(R"("mtu":1500,"ipaddr":"10.0.0.1")"),
         Image(736).text(64, "10.0.0.1").text(256, "1500")},
        {lan(R"("macaddr":")" + text40 + R"(","stp":"123456789")"),
         Image(736).text(0, text40.substr(0, 32)).text(360, "12345678")},
        {lan(R"("mtu":true,"metric":-2.50,"gateway":["a",{"b":null}])"),
         Image(736).text(256, "true").text(288, "-2.50").text(128, R"([ "a", { "b": null } ])")},
        {lan(R"("proto":"a\/\"\u00e9","stp":null,"ifname":"x\u0000y","mtu":"")"),
         Image(736).text(32, "a/\"\xC3\xA9").text(368, "x")},
        {lan(R"("IPADDR":"1","Mtu":2,"mtu ":3,"":4,"dhcpLanDhcpv6":5)"), Image(736)},
        {lan(R"("mtu":"1500","mtu":"9")"), Image(736).text(256, "9")},
        {R"({"data":{"uci_network_wan":{"mtu":"1"}},"uci_network_lan":{"mtu":"1"}})", Image(736)},
        {R"({"data":{"uci_network_lan":[{"mtu":"1"}]}})", Image(736)},
        {R"({"data":{"uci_network_lan":null}})", Image(736)},
        {R"({"data":["uci_network_lan"]})", Image(736)},
        {R"({"data":7})", Image(736)},
        {R"(["data"])", Image(736)},
        {R"({"data":{"uci_network_lan":{"mtu":"1")", Image(736)},
        {"", Image(736)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        fake().requests.clear();
        EXPECT_EQ(run_command(1011, row.command), 0);
        EXPECT_EQ(fake().requests.at(0), request_image(3, 13, row.record));
        EXPECT_EQ(std::ranges::count(log, '\n'), 26 + 1);
    }
}

TEST_F(NetworkTest, EndingsAndRefusedReports) {
    for (const int32_t type : {1011, 1012, 1013, 1029, 1030, 1031}) {
        SCOPED_TRACE(type);
        const auto command = std::ranges::find(context.commands, type, &Command::type);
        EXPECT_TRUE(command->busy_first);
        EXPECT_EQ(command->ending,
                  type == 1031 ? CommandEnding::refresh_identity : CommandEnding::reconnect);
        EXPECT_STREQ(command->identity_failure, type == 1029 ? "Fail to fetch device mac addr .."
                                                             : "Fail to fetch device mac addr..");
        context.report_kinds = {};
        run_command(type, "{}");
        EXPECT_TRUE(log.ends_with("QV_ERR: failed to fetch system stats..\nPUB MSG: "
                                  "topic=qv/dev_to_controller len=0 msg=\n"));
    }
}
