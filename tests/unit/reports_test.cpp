#include "messages/report.h"
#include "support.h"

#include <json-c/json.h>

using ReportsTest = AgentTest;

namespace {

/// Number of entries in the one list of a report's data.
size_t entries(const std::string& data) {
    const JsonPtr root(json_tokener_parse(data.c_str()));
    size_t count = 0;
    json_object_object_foreach(root.get(), key, list) {
        static_cast<void>(key);
        count += json_object_array_length(list);
    }
    return count;
}

std::string empty_ap(const std::string& status) {
    return R"({ "channel": 0, "frequency": 0, "status": ")" + status +
           R"(", "ssid": "", "bssid": "00:00:00:00:00:00", "numsta": 0, "txpower": 0, )"
           R"("phymode": "", "ipaddr": "", "parent": "", "ifname": "", "mode": 0, "bitrate": 0, )"
           R"("wifi_signal": 0, "noise": 0, "country": "", "encryption": "" })";
}

} // namespace

TEST_F(ReportsTest, SystemStats) {
    const std::string full(64, 'n');
    fake().replies[4] = Image(472)
                            .text(0, "KX7310")
                            .text(64, "fw 1/2")
                            .text(128, full) // no terminator within the field
                            .text(192, "model")
                            .text(256, "5.4.164")
                            .text(320, "0.10 0.20")
                            .text(384, "h\xC3\xA4ngt \xFF")
                            .number(448, 37, 4)
                            .number(452, 249856, 4)
                            .number(456, 100, 4)
                            .number(460, 0x80000000, 4)
                            .number(464, 5, 4)
                            .number(468, 86400, 4);
    EXPECT_EQ(report_data(REPORT_SYSTEM_STATS),
              R"({ "system_stats": { "hw_name": "KX7310", "fwinfo": "fw 1\/2", "hostname": ")" +
                  full +
                  R"(", "cpu_usage": 37, "max_memory": 249856, "max_memory_used": 100, )"
                  R"("max_disk_space": -2147483648, "max_disk_space_used": 5, "uptime": 86400, )"
                  R"("model": "model", "kernel_version": "5.4.164", "loadavg": "0.10 0.20", )"
                  "\"equipment_notes\": \"hängt \uFFFD\" } }");
    EXPECT_EQ(log, "qv_get_system_stats: HW Name: KX7310\n");

    fake().replies.clear();
    EXPECT_EQ(report_data(REPORT_SYSTEM_STATS),
              R"({ "system_stats": { "hw_name": "", "fwinfo": "", "hostname": "", )"
              R"("cpu_usage": 0, "max_memory": 0, "max_memory_used": 0, "max_disk_space": 0, )"
              R"("max_disk_space_used": 0, "uptime": 0, "model": "", "kernel_version": "", )"
              R"("loadavg": "", "equipment_notes": "" } })");
    EXPECT_EQ(log, "");
}

TEST_F(ReportsTest, RecordsBecomeReports) {
    const std::string name17(17, 'p');
    const std::string name34(34, 's');
    const struct {
        int32_t kind;
        uint8_t message;
        Bytes image;
        std::string data;
        const char* log;
    } rows[] = {
        {REPORT_STA_STATS, 3,
         Image(9220)
             .number(0, 2, 1)
             .bytes(4, {0x02, 0, 0, 0, 0, 0xfe, 0x0a, 1, 2, 3, 4, 5})
             .number(16, 0xFFFFFFC4, 4) // -60
             .number(20, 36, 2)
             .number(22, 0xFFFF, 2)
             .number(24, 866700, 4)
             .number(28, 0xFFFFFFFF, 4)
             .number(32, 3600, 4)
             .number(36, 65535, 2)
             .number(40 + 16, 65535, 2)
             .bytes(76, {1, 1, 1, 1, 1, 1}), // behind the last entry that counts
         R"({ "sta_stats_list": [ { "macaddr": "02:00:00:00:00:fe", )"
         R"("bssid": "0a:01:02:03:04:05", "channel": 36, "txrate": 866700, "rxrate": -1, )"
         R"("uptime": 3600, "txpower": 65535, "rssi": -60 }, { "macaddr": "00:00:00:00:00:00", )"
         R"("bssid": "00:00:00:00:00:00", "channel": 65535, "txrate": 0, "rxrate": 0, )"
         R"("uptime": 0, "txpower": 0, "rssi": 0 } ] })",
         ""},
        {REPORT_AP_STATS, 2,
         Image(6244)
             .number(0, 3, 1)
             .number(4, 149, 2)
             .number(6, 5745, 2)
             .text(9, name17)
             .number(26, 40000, 2)
             .bytes(28, {0, 0x11, 0x22, 0xaa, 0xbb, 0xcc})
             .text(34, name34)
             .number(68, 300, 2)
             .number(70, 255, 1)
             .number(72, 0x80000000, 4)
             .number(76, 0xC8, 1)
             .number(77, 0xA1, 1)
             .text(78, "CN")
             .text(110, "192.168.1.1")
             .text(134, "ath0")
             .text(167, "wifi0")
             .text(200, "psk2+ccmp")
             .number(264 + 4, 1, 1)
             .number(524 + 4, 2, 1),
         R"({ "ap_stats_list": [ { "channel": 149, "frequency": 5745, "status": "ONLINE", )"
         R"("ssid": ")" +
             name34 +
             R"(", "bssid": "00:11:22:aa:bb:cc", "numsta": 300, "txpower": 255, "phymode": ")" +
             name17 +
             R"(", "ipaddr": "192.168.1.1", "parent": "wifi0", "ifname": "ath0", "mode": 40000, )"
             R"("bitrate": -2147483648, "wifi_signal": 200, "noise": 161, "country": "CN", )"
             R"("encryption": "psk2+ccmp" }, )" +
             empty_ap("OFFLINE") + ", " + empty_ap("") + " ] }",
         "qv_get_ap_stats: Max AP Count: 3\n"},
        {REPORT_INTERFACE_STATS, 6,
         Image(2041)
             .number(0, 1, 1)
             .text(1, std::string(32, 'i'))
             .text(33, "00:11:22:aa:bb:cc")
             .text(53, "123456")
             .text(85, "2")
             .text(117, "3")
             .text(149, "4")
             .text(181, "10.0.0.1"),
         R"({ "interface_stats_list": [ { "ifname": ")" + std::string(32, 'i') +
             R"(", "rx_bytes": "123456", "tx_bytes": "2", "rx_packets": "3", )"
             R"("tx_packets": "4", "macaddr": "00:11:22:aa:bb:cc", "ipaddr": "10.0.0.1" } ] })",
         ""},
        {REPORT_RADIO_STATS, 12,
         Image(74)
             .number(0, 3, 1)
             .text(2, "wifi-radio")
             .number(12, 200, 1)
             .number(14, 65534, 2)
             .number(16, 255, 1)
             .number(17, 8, 1)
             .text(18, "11axg---")
             .number(26 + 12, 65535, 2) // not reported
             .number(50 + 12, 6, 2),
         R"({ "radio_stats_list": [ { "radio_name": "wifi-radio", "radio_id": 200, )"
         R"("channel": 65534, "radio_type": "11axg---", "band": 255, "num_vaps": 8 }, )"
         R"({ "radio_name": "", "radio_id": 0, "channel": 6, "radio_type": "", "band": 0, )"
         R"("num_vaps": 0 } ] })",
         ""},
    };
    for (const auto& row : rows) {
        fake().replies[row.message] = row.image;
        EXPECT_EQ(report_data(row.kind), row.data);
        EXPECT_EQ(log, row.log);
        EXPECT_EQ(fake().requests.back(), request_image(1, row.message, {}));
    }
}

TEST_F(ReportsTest, CountsKeepToTheRoomOfTheirRecord) {
    const struct {
        int32_t kind;
        uint8_t message;
        size_t size;
        uint8_t count;
        size_t reported;
    } rows[] = {
        {REPORT_STA_STATS, 3, 9220, 255, 255},     {REPORT_AP_STATS, 2, 6244, 30, 24},
        {REPORT_INTERFACE_STATS, 6, 2041, 12, 10}, {REPORT_RADIO_STATS, 12, 74, 5, 3},
        {REPORT_UCI_RADIO_LIST, 5, 308, 4, 3},     {REPORT_UCI_VAP_LIST, 16, 23972, 255, 8},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.kind);
        fake().replies[row.message] = Image(row.size).number(0, row.count, 1);
        EXPECT_EQ(entries(report_data(row.kind)), row.reported);
        fake().wrong_id = true;
        EXPECT_EQ(entries(report_data(row.kind)), 0U);
        EXPECT_EQ(log, "");
        fake().wrong_id = false;
    }
}

TEST_F(ReportsTest, AnswerTheirCommand) {
    const std::string radio_error = "QV_ERR: failed to fetch radio stats..\n";
    const std::string system_error = "QV_ERR: failed to fetch system stats..\n";
    const struct {
        int32_t command;
        bool shows_payload;
        const char* type;
        const char* data;
        std::string error; ///< when the catalogue does not hold the kind
    } rows[] = {
        {1023, true, "1004", "\"ap_stats_list\": [ ] } }", radio_error},
        {1024, true, "1005", "\"sta_stats_list\": [ ] } }", radio_error},
        {1025, true, "1006", "\"radio_stats_list\": [ ] } }", radio_error},
        {1026, true, "1007", "\"interface_stats_list\": [ ] } }", radio_error},
        {1027, true, "1008", "\"enable_server\": \"\" } } }", system_error},
        {1028, false, "1009", "\"uci_vap_list\": [ ] } }", system_error},
        {1029, false, "1011", "\"dhcpLanNetmask\": \"\" } } }", system_error},
        {1030, false, "1012", "\"mtu\": \"\" } } }", system_error},
        {1031, false, "1013", "\"mtu\": \"\" } } }", system_error},
        {1034, true, "1003", "\"equipment_notes\": \"\" } } }", radio_error},
    };
    const std::span<const ReportKind> catalogue = context.report_kinds;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        const std::string first = row.shows_payload ? "SUB MSG:payload=%s not parsed\n" : "";
        context.report_kinds = catalogue;
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log), first);
        const std::vector<std::string> reports = published(log);
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_TRUE(reports[0].starts_with("{ \"type\": " + std::string(row.type) + ", "));
        EXPECT_TRUE(reports[0].ends_with(row.data)) << reports[0];

        context.report_kinds = {};
        EXPECT_EQ(run_command(row.command, "%s not parsed"), 0);
        EXPECT_EQ(without_reports(log), first + row.error);
        EXPECT_EQ(published(log), std::vector<std::string>{""});
    }
    for (const int32_t command : {1003, 1004, 1005, 1011, 1012, 1013}) {
        run_command(command, "{}");
        EXPECT_NE(log.find(system_error), std::string::npos) << command;
    }
}
