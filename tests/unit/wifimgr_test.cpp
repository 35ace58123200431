#include "protocol/record_fields.h"
#include "protocol/statistics_records.h"
#include "support.h"
#include "wifimgr/channel.h"

using ChannelTest = AgentTest;

TEST_F(ChannelTest, RequestsCarryTheFamilyOfTheirMessage) {
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

TEST_F(ChannelTest, OnlyAReplyOfTheSameIdentifierCounts) {
    fake().replies[4] = Image(472).text(0, "hardware").number(468, 0xFFFFFFFF, 4);
    const struct {
        bool wrong_id;
        uint32_t size;
        bool accepted;
        int32_t uptime;
    } rows[] = {
        {false, ~0U, true, -1},
        {true, ~0U, false, 7},
        {false, 8 + 471, true, 0x00FFFFFF}, // short: what is missing reads as zeros
        {false, 8, true, 0},
        {false, 1, false, 7},
        {false, 0, false, 7},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        fake().wrong_id = row.wrong_id;
        fake().reply_size = row.size;
        SystemStats record{};
        record.uptime = 7;
        EXPECT_EQ(qv_wifi_mgr_query(WIFI_MGR_GET_SYSTEM_STATS, {}, qv_record_bytes(record)),
                  row.accepted);
        EXPECT_EQ(record.uptime, row.uptime);
    }
}
