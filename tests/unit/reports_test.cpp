#include "record_example.h"
#include "reports/report.h"
#include "wifimgr/channel.h"

#include <json-c/json.h>

using ReportsTest = AgentTest;

namespace {

constexpr const char* SYSTEM_STATS =
    "0 64 hw_name; 64 64 fwinfo; 128 64 hostname; 448 i32 cpu_usage; 452 i32 max_memory; "
    "456 i32 max_memory_used; 460 i32 max_disk_space; 464 i32 max_disk_space_used; "
    "468 i32 uptime; 192 64 model; 256 64 kernel_version; 320 64 loadavg; "
    "384 64 equipment_notes";
constexpr const char* STATION =
    "0 mac macaddr; 6 mac bssid; 16 u16 channel; 20 i32 txrate; 24 i32 rxrate; 28 i32 uptime; "
    "32 u16 txpower; 12 i32 rssi";
constexpr const char* AP =
    "0 u16 channel; 2 u16 frequency; 4 ap_status status; 30 34 ssid; 24 mac bssid; "
    "64 u16 numsta; 66 u8 txpower; 5 17 phymode; 106 24 ipaddr; 163 33 parent; 130 33 ifname; "
    "22 u16 mode; 68 i32 bitrate; 72 u8 wifi_signal; 73 u8 noise; 74 32 country; "
    "196 64 encryption";
constexpr const char* INTERFACE =
    "0 32 ifname; 52 32 rx_bytes; 84 32 tx_bytes; 116 32 rx_packets; 148 32 tx_packets; "
    "32 20 macaddr; 180 24 ipaddr";
constexpr const char* RADIO_STATS =
    "0 10 radio_name; 10 u8 radio_id; 12 u16 channel; 16 8 radio_type; 14 u8 band; "
    "15 u8 num_vaps";
constexpr const char* RADIO =
    "86 16 radio_name; 0 u16 channel; 2 u8 disabled; 3 u8 txpower; 4 u16 country; "
    "14 8 radio_type; 22 32 hwmode; 54 32 htmode";

/// A record that is a count and a list of entries.
const struct {
    int32_t kind;
    uint8_t message;
    size_t size, first, stride;
    std::string key;
    const char* layout;
    uint8_t count; ///< more than there is room for, or the most that a count can say
    size_t reported;
} LISTS[] = {
    {REPORT_STA_STATS, 3, 9220, 4, 36, "sta_stats_list", STATION, 255, 255},
    {REPORT_AP_STATS, 2, 6244, 4, 260, "ap_stats_list", AP, 30, 24},
    {REPORT_INTERFACE_STATS, 6, 2041, 1, 204, "interface_stats_list", INTERFACE, 12, 10},
    {REPORT_RADIO_STATS, 12, 74, 2, 24, "radio_stats_list", RADIO_STATS, 5, 3},
    {REPORT_UCI_RADIO_LIST, 5, 308, 2, 102, "uci_radio_list", RADIO, 4, 3},
    {REPORT_UCI_VAP_LIST, 16, 23972, 4, 2996, "uci_vap_list", nullptr, 255, 8},
};

/// Number of entries in the one list of a report's data.
size_t entries(const std::string& data, const std::string& key) {
    const JsonPtr root(json_tokener_parse(data.c_str()));
    return json_object_array_length(json_object_object_get(root.get(), key.c_str()));
}

} // namespace

TEST_F(ReportsTest, SystemStats) {
    for (const Fill fill : {Fill::full, Fill::empty}) {
        const RecordExample example(472, SYSTEM_STATS, fill);
        fake().replies[4] = example.image;
        EXPECT_EQ(report_data(REPORT_SYSTEM_STATS),
                  "{ \"system_stats\": { " + example.members + " } }");
        EXPECT_EQ(log, "qv_get_system_stats: HW Name: " +
                           example.lines.substr(9, example.lines.find('\n') - 8));
    }
}

TEST_F(ReportsTest, EntriesOfListsInTheirOrder) {
    for (const auto& list : LISTS) {
        if (list.layout == nullptr) {
            continue;
        }
        SCOPED_TRACE(list.key);
        const RecordExample full(list.stride, list.layout, Fill::full);
        const RecordExample empty(list.stride, list.layout, Fill::empty);
        Image image(list.size);
        image.number(0, 2, 1).bytes(list.first + list.stride, full.image);
        image.bytes(list.first + 2 * list.stride, full.image); // behind the last that counts
        fake().replies[list.message] = image;
        EXPECT_EQ(report_data(list.kind), "{ \"" + list.key + "\": [ { " + empty.members +
                                              " }, { " + full.members + " } ] }");
        EXPECT_EQ(log, list.kind == REPORT_AP_STATS ? "qv_get_ap_stats: Max AP Count: 2\n" : "");
        EXPECT_EQ(fake().requests.back(), request_image(1, list.message, {}));
    }
}

TEST_F(ReportsTest, CountsKeepToTheRoomOfTheirRecord) {
    for (const auto& list : LISTS) {
        SCOPED_TRACE(list.key);
        fake().replies[list.message] = Image(list.size).number(0, list.count, 1);
        EXPECT_EQ(entries(report_data(list.kind), list.key), list.reported);
        fake().wrong_id = true;
        EXPECT_EQ(entries(report_data(list.kind), list.key), 0U);
        EXPECT_EQ(log, "");
        fake().wrong_id = false;
    }
}

TEST_F(ReportsTest, EntriesOutOfUse) {
    fake().replies[12] = Image(74).number(0, 3, 1).number(2 + 24 + 12, 65535, 2).number(62, 6, 2);
    EXPECT_EQ(entries(report_data(REPORT_RADIO_STATS), "radio_stats_list"), 2U);
    fake().replies[2] = Image(6244).number(0, 1, 1).number(8, 2, 1);
    EXPECT_NE(report_data(REPORT_AP_STATS).find("\"status\": \"\", "), std::string::npos);
}

TEST_F(ReportsTest, RequestsCarryTheFamilyOfTheirMessage) {
    for (const WifiMgrMessage& message : WIFI_MGR_MESSAGES) {
        const uint8_t id = message.id;
        const bool system = id == 10 || id == 11;
        const bool network = id == 13 || id == 14 || (id >= 17 && id <= 20);
        const uint8_t module = system ? 2 : network ? 3 : 1;
        fake().requests.clear();
        EXPECT_EQ(qv_wifi_mgr_apply(message.id, {}), -1);
        EXPECT_EQ(fake().requests.at(0), (Bytes{module, id, 0, 0, 0, 0, 0, 0}));
        fake().acknowledge(id);
        EXPECT_EQ(qv_wifi_mgr_apply(message.id, {}), 0);
    }
}
