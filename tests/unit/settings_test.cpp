// Settings that a command replaces as a whole: those of the system, of LAN, WAN and WAN6.
#include "record_example.h"

#include <algorithm>

namespace {

class SettingsTest : public AgentTest {
protected:
    /// The request that a command with these members leads to.
    Bytes apply_system(const std::string& members) {
        fake().requests.clear();
        run_command(1003, R"({"data":{"uci_system":{)" + members + "}}}");
        return fake().requests.at(0);
    }
};

constexpr const char* SYSTEM =
    "0 40 hostname; 40 40 zonename; 80 40 timezone; 120 10 log_size; 130 16 log_ip; "
    "146 16 log_port; 162 10 conloglevel; 172 10 cronloglevel; 182 10 enabled; "
    "192 10 enable_server";
constexpr const char* LAN =
    "0 32 macaddr=MAC address; 32 32 proto=Protocol; 64 32 ipaddr=IP address; "
    "96 32 netmask=Netmask; 128 32 gateway=Gateway; 160 32 broadcast=Broadcast; "
    "192 32 ip6assign=IPv6 assign; 224 32 ip6hint=IPv6 hint; 256 32 mtu=MTU; "
    "288 32 metric=Metric; 320 32 _orig_ifname; 352 8 _orig_bridge; 360 8 stp=STP; "
    "368 32 ifname=Interface name; 400 32 dhcpLanStart=DHCP LAN start; "
    "432 32 dhcpLanLimit=DHCP LAN limit; 464 32 dhcpLanLeaseTime=DHCP LAN lease time; "
    "496 32 dhcpLandHcpv6=DHCP land Hcpv6; 528 32 dhcpLanRa=DHCP LAN RA; "
    "560 8 dhcpLanRaManagement=DHCP LAN RA management; 568 32 dhcpLanNdp=DHCP LAN NDP; "
    "600 32 dhcpLanRaDefault=DHCP LAN RA default; "
    "632 32 dhcpLanDynamicDhcp=DHCP LAN dynamic DHCP; 664 32 dhcpLanForce=DHCP LAN force; "
    "696 8 dhcpLanIgnore=DHCP LAN ignore; 704 32 dhcpLanNetmask=DHCP LAN netmask";
constexpr const char* WAN =
    "0 32 proto; 32 32 hostname; 64 8 delegate; 72 8 broadcast; 80 8 defaultroute; "
    "88 32 metric; 120 32 vendorid; 152 32 clientid; 184 32 macaddr; 216 32 mtu";
constexpr const char* WAN6 =
    "0 32 proto; 32 32 reqaddress; 64 32 reqprefix; 96 8 delegate; 104 8 defaultroute; "
    "112 32 ip6prefix; 144 32 clientid; 176 32 macaddr; 208 32 mtu";

const struct {
    int32_t command;
    std::string report_type;
    uint8_t module, apply, read;
    int32_t unanswered; ///< result when the wifi manager does not take it
    size_t size;
    std::string key;
    const char* layout;
} SECTIONS[] = {
    {1003, "1008", 2, 10, 11, -1, 708, "uci_system", SYSTEM},
    {1011, "1011", 3, 13, 14, 0, 736, "uci_network_lan", LAN},
    {1012, "1012", 3, 17, 18, 0, 248, "uci_network_wan", WAN},
    {1013, "1013", 3, 19, 20, 0, 240, "uci_network_wan6", WAN6},
};

std::string with_data(const std::string& key, const std::string& members) {
    return "\"data\": { \"" + key + "\": { " + members + " } } }";
}
} // namespace

TEST_F(SettingsTest, EveryFieldInBothDirections) {
    for (const auto& section : SECTIONS) {
        SCOPED_TRACE(section.key);
        const RecordExample full(section.size, section.layout, Fill::full);
        const std::string data = with_data(section.key, full.members);
        const std::string command = "{ " + data;
        const std::string shown =
            section.command == 1013 ? "SUB MSG:payload=" + command + "\n" : "";
        fake().requests.clear();
        fake().replies[section.read] = full.image;
        EXPECT_EQ(run_command(section.command, command), section.unanswered);
        EXPECT_EQ(fake().requests,
                  (std::vector<Bytes>{request_image(section.module, section.apply, full.image),
                                      request_image(section.module, section.read, {})}));
        EXPECT_EQ(without_reports(log),
                  shown + full.lines + (section.command == 1003 ? "server_size: 0\n" : ""));
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].starts_with("{ \"type\": " + section.report_type + ", "));
        EXPECT_TRUE(published(log)[0].ends_with(", " + data)) << log;
    }
}

TEST_F(SettingsTest, WhatACommandStores) {
    const std::string text45 = "012345678901234567890123456789012345678901234";
    const std::pair<std::string, Image> rows[] = {
        {R"("log_port":514,"enabled":false,"log_size":null,"zonename":{"a":1},"log_ip":-2.50)",
         Image(708)
             .text(146, "514")
             .text(182, "false")
             .text(40, R"({ "a": 1 })")
             .text(130, "-2.50")},
        {R"("hostname":")" + text45 + R"(","enable_server":"01234567890")",
         Image(708).text(0, text45.substr(0, 40)).text(192, "0123456789")},
        {R"("timezone":"a\/\"\u00e9","zonename":"x\u0000y","hostname":"")",
         Image(708).text(80, "a/\"\xC3\xA9").text(40, "x")},
        {R"("log_size":"1500","log_size":"9","LOG_IP":"1","log_ip ":3,"servers":["x"])",
         Image(708).text(120, "9")},
    };
    for (const auto& [members, record] : rows) {
        EXPECT_EQ(apply_system(members), request_image(2, 10, record)) << members;
    }
}

TEST_F(SettingsTest, ServersUpToTheirSlots) {
    for (const uint32_t named : {0, 1, 9, 10, 11}) {
        SCOPED_TRACE(named);
        const uint32_t count = std::min(named, 10U);
        Image image = Image(708).number(704, count, 4);
        std::string list;
        std::string lines = "server_size: " + std::to_string(count) + "\n";
        for (uint32_t i = 0; i < named; ++i) {
            const std::string name = "ntp-" + std::to_string(i);
            list += (i == 0 ? "\"" : ", \"") + name + "\"";
            if (i < count) {
                image.text(202 + 50 * i, name);
                lines += "server[" + std::to_string(i) + "]: " + name + "\n";
            }
        }
        fake().acknowledge(10);
        fake().replies[11] = image;
        EXPECT_EQ(apply_system("\"server\": [ " + list + " ]"), request_image(2, 10, image));
        EXPECT_TRUE(without_reports(log).ends_with("enable_server: \n" + lines)) << log;
        // A report leaves them out when every slot is in use.
        const bool reported = count == 1 || count == 9;
        EXPECT_TRUE(published(log).at(0).ends_with(
            "\"enable_server\": \"\"" + (reported ? ", \"server\": [ " + list + " ]" : "") +
            " } } }"))
            << log;
    }
}

TEST_F(SettingsTest, ServersOfAReply) {
    const std::string name(50, 's'); // as long as its field, without a terminator
    fake().replies[11] = Image(708).text(202, name + name).number(704, 2, 4);
    const std::string data = report_data(9);
    EXPECT_TRUE(data.ends_with("\"server\": [ \"" + name + "\", \"" + name + "\" ] } }")) << data;
    for (const uint32_t count : {11U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        fake().replies[11] = Image(708).number(704, count, 4);
        EXPECT_EQ(report_data(9).find("\"server\""), std::string::npos) << count;
    }
}

TEST_F(SettingsTest, ServerNamesFitTheirSlot) {
    const auto text = [](size_t size, const char* end = "") {
        return std::string(size, 's') + end;
    };
    const struct {
        std::string element, stored;
        bool cut = false;
    } rows[] = {
        {R"("a\"b\\c\/d")", R"(a"b\c/d)"},
        {R"("a\nb\u0001")", "anbu0001"},
        {"2.50", "2.50"},
        {R"({"a":["b/c",null]})", "{ a: [ b/c, null ] }"},
        {'"' + text(49) + '"', text(49)},
        {'"' + text(100000) + '"', text(49), true},
        {'"' + text(47, "\u00E9") + '"', text(47, "\u00E9")},
        {'"' + text(48, "\u00E9tail") + '"', text(48), true},
        {'"' + text(46, "\U0001F600") + '"', text(46), true},
        {'"' + text(48, "\u20AC") + '"', text(48), true},
        {R"(")" + text(48) + R"(\\x")", text(48) + "\\", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.element.substr(0, 80));
        Image image = Image(708).text(202, "before").text(252, row.stored).text(302, "after");
        EXPECT_EQ(apply_system("\"server\":[\"before\"," + row.element + ",\"after\"]"),
                  request_image(2, 10, image.number(704, 3, 4)));
        const std::string line = "QV_INFO: server[1] does not fit, cut to " +
                                 std::to_string(row.stored.size()) + " bytes\n";
        EXPECT_EQ(log.starts_with(line), row.cut) << log;
    }
}
