#include "record_example.h"
#include "reports/report.h"

#include <cstring>
#include <json-c/json.h>

using WirelessTest = AgentTest;

namespace {

/// Fields of a VAP in the order of the report; "mode" and "freqlist" have rules of their own.
constexpr const char* VAP =
    "0 8 ifname; 8 8 device; 16 8 disabled; 24 8 country; 32 8 hwmode; 40 8 htmode; "
    "48 8 channel=; 56 8 freq; 64 8 blockdfschlist; 72 8 acs_bkscanen; 80 8 acs_scanintvl; "
    "88 32 antenna_gain; 120 8 txpower; 192 32 ssid; 2668 32 txantenna=; 2700 32 rxantenna=; "
    "2732 256 scanlist=; 2988 8 macpolicy=; 224 8 mode; 240 8 shortgi; 248 32 manrate; "
    "280 8 hidden; 288 32 encryption; 128 32 range=; 160 32 regdomain=; 320 32 key=; "
    "352 32 key1=; 384 32 key2=; 416 32 key3=; 448 32 key4=; 480 8 sae=; 488 32 sae_password=; "
    "520 8 sae_pwe=; 528 8 sae_require_mfp=; 536 8 doth=; 544 8 isolate=; 552 8 uapsd=; "
    "560 16 mcast_rate=; 576 16 frag=; 592 16 rts=; 608 8 wmm=";

/// Fields of a radio's request: members of "general_data", then of its first VAP.
constexpr const char* RADIO =
    "0 8 channel; 8 8 freq=; 16 32 txpower; 48 32 country; 80 16 radio_type; "
    "96 16 radio_name=; 112 32 hwmode; 144 32 htmode";
constexpr const char* FIRST_VAP =
    "176 32 ssid=wifi_ssid; 208 32 key=wifi_password; 240 16 opmode; 256 16 encryption; "
    "272 8 sae; 280 32 sae_password; 312 8 sae_pwe; 320 8 sae_require_mfp";

/// Of the whole access point, for each of three radios with eight VAPs each; the number of VAPs
/// stands between them.
constexpr const char* BUNDLE_RADIO =
    "0 u16 channel; 2 u8 disabled; 3 u8 txpower; 4 u16 country; 6 32 hwmode; 38 32 htmode";
constexpr const char* BUNDLE_VAP =
    "0 32 ssid; 32 10 opmode; 42 32 network; 74 32 key; 106 32 encryption";

/// Payload of the only request, or of the first of two when a report follows.
Bytes sent(uint8_t id, size_t size, size_t requests = 1) {
    EXPECT_EQ(fake().requests.size(), requests);
    const Bytes request = fake().requests.empty() ? Bytes(8) : fake().requests[0];
    fake().requests.clear();
    Bytes payload(request.begin() + 8, request.end());
    EXPECT_EQ(request, request_image(1, id, payload));
    EXPECT_EQ(payload.size(), size);
    return payload;
}

std::string general_data(const std::string& json) {
    return R"({"data":{"general_data":)" + json + "}}";
}
std::string vap_config(const std::string& members) {
    return R"({"data":{"vap_config":{)" + members + "}}}";
}
std::string apconfigs(const std::string& radios) {
    return R"({"data":{"apconfigs":{"radio_list":[)" + radios + "]}}}";
}
std::string repeated(const std::string& element, size_t count) {
    std::string list;
    for (size_t i = 0; i < count; ++i) {
        list += (i == 0 ? "" : ",") + element;
    }
    return list;
}

} // namespace

TEST_F(WirelessTest, VapListReport) {
    const RecordExample empty(2996, VAP, Fill::empty);
    const RecordExample full(2996, VAP, Fill::full);
    const size_t second = 4 + 2996;
    fake().replies[16] = Image(23972)
                             .number(0, 2, 1)
                             .bytes(second, full.image)
                             .text(second + 232, "1")
                             .number(second + 2664, 48, 4)
                             .bytes(second + 616, {9, 200, 9, 9, 0x90, 0x16, 0, 0, 1, 9})
                             .bytes(second + 640, {9, 36, 9, 9, 255, 255, 255, 255, 255, 9});
    EXPECT_EQ(report_data(REPORT_UCI_VAP_LIST),
              "{ \"uci_vap_list\": [ { " + empty.members + ", \"freqlist\": [ ] }, { " +
                  full.members +
                  R"(, "freqlist": [ { "channel": 200, "mhz": 5776, "restricted": 1 }, )"
                  R"({ "channel": 36, "mhz": -1, "restricted": 255 } ] } ] })");
    const struct {
        const char *mode, *wds, *reported;
        uint32_t freqlist_size;
        size_t frequencies;
    } rows[] = {
        {"ap", "1", "ap-wds", 23, 0}, {"sta", "1", "sta-wds", 50, 2}, {"ap", "0", "ap", 2040, 85},
        {"sta", "", "sta", 2048, 85}, {"ap", "10", "ap", 47, 1},      {"AP", "1", "AP", ~0U, 85},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.freqlist_size);
        fake().replies[16] = Image(23972)
                                 .number(0, 1, 1)
                                 .text(4 + 224, row.mode)
                                 .text(4 + 232, row.wds)
                                 .number(4 + 2664, row.freqlist_size, 4);
        const JsonPtr data(json_tokener_parse(report_data(REPORT_UCI_VAP_LIST).c_str()));
        json_object* const vaps = qv_json_member(data.get(), "uci_vap_list");
        json_object* const vap = json_object_array_get_idx(vaps, 0);
        EXPECT_STREQ(json_object_get_string(qv_json_member(vap, "mode")), row.reported);
        EXPECT_EQ(json_object_array_length(qv_json_member(vap, "freqlist")), row.frequencies);
    }
}

TEST_F(WirelessTest, VapCommands) {
    RecordExample example(2996, VAP, Fill::full);
    const Bytes record = example.image.text(232, "0");
    const struct {
        int32_t command;
        uint8_t message;
        bool reports;
    } commands[] = {{1004, 15, true}, {1006, 21, false}, {1007, 23, false}};
    for (const auto& row : commands) {
        for (const int32_t result : {-1, 0}) {
            SCOPED_TRACE(row.command);
            EXPECT_EQ(run_command(row.command, vap_config(example.members)), result);
            EXPECT_EQ(without_reports(log), example.lines);
            ASSERT_EQ(published(log).size(), row.reports ? 1U : 0U);
            EXPECT_TRUE(!row.reports || published(log)[0].starts_with("{ \"type\": 1009, "));
            EXPECT_EQ(sent(row.message, 2996, row.reports ? 2 : 1), record);
            fake().acknowledge(row.message);
        }
    }
    const struct {
        const char *members, *mode, *wds;
    } modes[] = {
        {R"("mode":"ap-wds")", "ap", "1"},         {R"("mode":"sta-wds")", "sta", "1"},
        {R"("mode":"sta","wds":"1")", "sta", "0"}, {R"("wds":"1")", "", ""},
        {R"("mode":"ap-wdsx+")", "ap-wdsx+", "0"}, {R"("mode":12)", "12", "0"},
    };
    for (const auto& row : modes) {
        run_command(1006, vap_config(row.members));
        EXPECT_EQ(sent(21, 2996), Bytes(Image(2996).text(224, row.mode).text(232, row.wds)))
            << row.members;
    }
}

TEST_F(WirelessTest, RadioCommandFillsEveryField) {
    const RecordExample radio(328, RADIO, Fill::full);
    const RecordExample vap(328, FIRST_VAP, Fill::full);
    Bytes record = radio.image;
    record.resize(176);
    const Bytes of_vap = vap.image;
    record.insert(record.end(), of_vap.begin() + 176, of_vap.end());
    const std::string payload = general_data("{" + radio.members + ",\"vap_list\":[{" +
                                             vap.members + "},{\"ssid\":\"second\"}]}");
    EXPECT_EQ(run_command(1005, payload), 0);
    EXPECT_EQ(without_reports(log), vap.lines.substr(0, vap.lines.find("sae: ")) +
                                        "\nplyload: " + payload +
                                        "\n-------------------------------\n" + radio.lines +
                                        vap.lines + "qv_mgr_set_radio_config: done\n");
    ASSERT_EQ(published(log).size(), 1U);
    EXPECT_TRUE(published(log)[0].ends_with(R"("data": { "uci_radio_list": [ ] } })"));
    EXPECT_TRUE(log.ends_with("} }\nqv_mgr_set_radio_config: done\n"));
    EXPECT_EQ(fake().requests.at(1), request_image(1, 5, {}));
    EXPECT_EQ(sent(22, 328, 2), record);

    // The lines of the VAP come in the order of the command; a null sets and prints nothing.
    run_command(1005,
                general_data(R"({"vap_list":[{"encryption":true,"key":null,"sae":2,"ssid":7}]})"));
    EXPECT_TRUE(log.starts_with("encryption: true\nwifi_ssid: 7\n\nplyload: ")) << log;
    EXPECT_EQ(sent(22, 328, 2), Bytes(Image(328).text(176, "7").text(256, "true").text(272, "2")));
}

TEST_F(WirelessTest, Bundle) {
    const RecordExample radio(72, BUNDLE_RADIO, Fill::terminated);
    const RecordExample vap(138, BUNDLE_VAP, Fill::terminated);
    const std::string vap_object = "{" + vap.members + "}";
    // The members of `more` replace those of the example.
    const auto radio_object = [&](const std::string& vaps, const std::string& more = "") {
        return "{" + radio.members + more + ",\"vap_list\":[" + vaps + "]}";
    };
    // Radios with so many VAPs each.
    const auto image = [&](const std::vector<uint32_t>& radios) {
        Image result = Image(3548).number(4, static_cast<uint32_t>(radios.size()), 4);
        for (size_t place = 8; const uint32_t vaps : radios) {
            result.bytes(place, radio.image).number(place + 72, vaps, 4);
            for (size_t i = 0; i < vaps; ++i) {
                result.bytes(place + 76 + 138 * i, vap.image);
            }
            place += 1180;
        }
        return result;
    };
    const std::string first = radio_object("");
    const std::string not_found = "map_json_field_to_value(): field_name ";
    const Image cut_vap = image({1}).number(4, 2, 4).number(80, 2, 4).text(8 + 76 + 138 + 32, "7");
    const Image no_radio = Image(3548).number(4, 1, 4);
    const struct {
        std::string radios, log;
        Bytes record;
    } rows[] = {
        {radio_object(repeated(vap_object, 8)) + "," + first + "," +
             radio_object(repeated(vap_object, 2)),
         "", image({8, 0, 2})},
        // What was read before a gap is sent.
        {radio_object(vap_object + R"(,{"ssid":null,"opmode":7,"key":"k"})") + "," + first,
         not_found + "network not found\n", cut_vap},
        {"{" + radio.members + "}", "", image({0})},
        {"{" + radio.members + R"(,"vap_list":{"ssid":"x"}})", "", image({0})},
        {"{\"Channel\":1}", not_found + "channel not found\n", no_radio},
        {"7", not_found + "channel not found\n", no_radio},
        {"null", "map_json_field_to_value(): NULL jobj\n", no_radio},
        {"", "", Bytes(3548)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.radios);
        EXPECT_EQ(run_command(1001, apconfigs(row.radios)), &row == rows ? -1 : 0);
        EXPECT_EQ(log, row.log);
        EXPECT_EQ(sent(9, 3548), row.record);
        fake().acknowledge(9);
    }
    const std::string text32 = '"' + std::string(32, 'x') + '"';
    const std::pair<std::string, const char*> refused[] = {
        {repeated(first, 4), "radio_list: length 4, at most 3"},
        {first + "," + radio_object(repeated(vap_object, 9)),
         "radio 1, vap_list: length 9, at most 8"},
        {radio_object("", ",\"htmode\":" + text32), "radio 0, htmode: length 32, at most 31"},
        {first + "," + radio_object(vap_object + ",{\"ssid\":" + text32 + "}"),
         "radio 1, vap 1, ssid: length 32, at most 31"},
        {radio_object(R"({"ssid":"x","opmode":1234567890})"),
         "radio 0, vap 0, opmode: length 10, at most 9"},
        {radio_object(R"({"ssid":"x\u0000y"})"), "radio 0, vap 0, ssid: length 3, at most 31"},
    };
    for (const auto& [radios, what] : refused) {
        EXPECT_EQ(run_command(1001, apconfigs(radios)), -1);
        EXPECT_EQ(log, std::string("QV_ERR: apconfigs refused: ") + what + "\n");
        EXPECT_TRUE(fake().requests.empty());
    }
}

TEST_F(WirelessTest, MacListStatus) {
    const struct {
        std::string payload, text; ///< the text as logged
        uint32_t index, reply;
        const char* status;
    } rows[] = {
        {general_data("\"1\""), "1", 1, 0xFFFFFFFE, "-2"},
        {general_data("\" -3x\""), " -3x", 0xFFFFFFFD, 5, "5"},
        {general_data("\"wifi1\""), "wifi1", 0, 0, "0"},
        {general_data("1234567"), "1234567", 1234567, 0, "0"},
        {R"({"data":["general_data"]})", "", 0, 0, "0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.payload);
        fake().replies[24] = Image(4).number(0, row.reply, 4);
        EXPECT_EQ(run_command(1018, row.payload), 0);
        EXPECT_TRUE(without_reports(log).ends_with(
            "\n\n-----wifi_index:" + row.text + "----------\n\n-----wifi_index:len:" +
            std::to_string(row.text.size()) + "----------\n"))
            << log;
        EXPECT_EQ(sent(24, 4), Bytes(Image(4).number(0, row.index, 4)));
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].starts_with(R"({ "type": 1014, "flag": "REQ", )"));
        EXPECT_TRUE(
            published(log)[0].ends_with(R"("data": { "uci_vap_maclist": { "uploading_status": )" +
                                        std::string(row.status) + " } } }"));
    }
    fake().wrong_id = true;
    run_command(1018, general_data("1"));
    EXPECT_NE(log.find(R"({ "uploading_status": 0 })"), std::string::npos);
    fake().requests.clear();
    for (const char* const refused : {R"("1\u00003")", R"("12345678")"}) {
        EXPECT_EQ(run_command(1018, general_data(refused)), -1);
        EXPECT_TRUE(log.ends_with("} }\nQV_ERR: wifi index refused: longer than 7 bytes\n"));
        EXPECT_TRUE(fake().requests.empty());
        EXPECT_TRUE(published(log).empty());
    }
}

TEST_F(WirelessTest, MacListSettingsAndRemoval) {
    const std::string first = "uciDelete wireless @wifi-iface[0] maclist,uciCommit wireless,";
    const std::string second = "uciDelete wireless @wifi-iface[1] maclist,uciCommit wireless,";
    const struct {
        const char* general_data;
        uint32_t maclist_size, flag_0, flag_1;
        std::string calls;
    } rows[] = {
        {R"({"maclist_size":5,"wifi0Flag":1})", 5, 1, 0, first},
        {R"({"wifi1Flag":"1","maclist_size":"-2"})", 0xFFFFFFFE, 0, 1, second},
        {R"({"wifi0Flag":true,"wifi1Flag":1.9,"x":3})", 0, 1, 1, first + second},
        {R"({"wifi0Flag":2,"wifi1Flag":{"a":1},"WIFI1FLAG":1})", 0, 2, 0, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.general_data);
        EXPECT_EQ(run_command(1019, general_data(row.general_data)), -1);
        Image record(12);
        record.number(0, row.maclist_size, 4).number(4, row.flag_0, 4).number(8, row.flag_1, 4);
        EXPECT_EQ(sent(25, 12), Bytes(record));
        fake().calls.clear();
        EXPECT_EQ(run_command(1020, general_data(row.general_data)), 0);
        std::string calls;
        for (const std::string& call : fake().calls) {
            calls += call + ",";
        }
        EXPECT_EQ(calls, "uciInit," + row.calls + "uciDestroy,");
        EXPECT_TRUE(fake().requests.empty());
    }
    fake().acknowledge(25);
    EXPECT_EQ(run_command(1019, "{}"), 0);
}

TEST_F(WirelessTest, GeneralDataIsPassedOn) {
    const std::string text63(63, 'x');
    const std::pair<std::string, std::string> rows[] = {
        {"\"\"", ""},
        {R"({"a":[1,"x/y"]})", R"({ "a": [ 1, "x\/y" ] })"},
        {'"' + text63 + '"', text63}};
    for (const auto& [json, text] : rows) {
        const std::string payload = general_data(json);
        EXPECT_EQ(run_command(1022, payload), -1);
        EXPECT_TRUE(log.starts_with("SUB MSG: payload=" + payload + "\nParsed JSON object: "));
        EXPECT_EQ(sent(26, text.size() + 1), Bytes(Image(text.size() + 1).text(0, text)));
    }
    fake().acknowledge(26);
    EXPECT_EQ(run_command(1022, "no json"), 0);
    EXPECT_EQ(sent(26, 1), Bytes(1));
    for (const std::string& text :
         {text63 + "y", std::string(R"(x\u0000y)"), std::string(R"(\u0000)")}) {
        EXPECT_EQ(run_command(1022, general_data("\"" + text + "\"")), -1);
        EXPECT_TRUE(log.ends_with("} }\nQV_ERR: general_data refused: longer than 63 bytes\n"));
        EXPECT_TRUE(fake().requests.empty());
    }
}
