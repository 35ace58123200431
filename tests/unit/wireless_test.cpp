#include "messages/report.h"
#include "support.h"
#include "text_fields.h"

#include <algorithm>
#include <cstring>
#include <json-c/json.h>

using WirelessTest = AgentTest;

namespace {

/// Fields of a VAP in the order of the report; "mode" and "freqlist" have rules of their own.
const TextField VAP[] = {
    {0, 8, "ifname"},          {8, 8, "device"},
    {16, 8, "disabled"},       {24, 8, "country"},
    {32, 8, "hwmode"},         {40, 8, "htmode"},
    {48, 8, "channel"},        {56, 8, "freq"},
    {64, 8, "blockdfschlist"}, {72, 8, "acs_bkscanen"},
    {80, 8, "acs_scanintvl"},  {88, 32, "antenna_gain"},
    {120, 8, "txpower"},       {192, 32, "ssid"},
    {2668, 32, "txantenna"},   {2700, 32, "rxantenna"},
    {2732, 256, "scanlist"},   {2988, 8, "macpolicy"},
    {224, 8, "mode"},          {240, 8, "shortgi"},
    {248, 32, "manrate"},      {280, 8, "hidden"},
    {288, 32, "encryption"},   {128, 32, "range"},
    {160, 32, "regdomain"},    {320, 32, "key"},
    {352, 32, "key1"},         {384, 32, "key2"},
    {416, 32, "key3"},         {448, 32, "key4"},
    {480, 8, "sae"},           {488, 32, "sae_password"},
    {520, 8, "sae_pwe"},       {528, 8, "sae_require_mfp"},
    {536, 8, "doth"},          {544, 8, "isolate"},
    {552, 8, "uapsd"},         {560, 16, "mcast_rate"},
    {576, 16, "frag"},         {592, 16, "rts"},
    {608, 8, "wmm"},
};
constexpr const char* VAP_LOG[] = {
    "ifname", "device",         "disabled",     "country",       "hwmode",       "htmode",
    "freq",   "blockdfschlist", "acs_bkscanen", "acs_scanintvl", "antenna_gain", "txpower",
    "ssid",   "mode",           "shortgi",      "manrate",       "hidden",       "encryption"};

/// Fields of a radio's request: members of "general_data", then of its first VAP.
const TextField RADIO[] = {
    {0, 8, "channel"},      {8, 8, "freq"},         {16, 32, "txpower"}, {48, 32, "country"},
    {80, 16, "radio_type"}, {96, 16, "radio_name"}, {112, 32, "hwmode"}, {144, 32, "htmode"},
};
const TextField FIRST_VAP[] = {
    {176, 32, "ssid", "wifi_ssid"},
    {208, 32, "key", "wifi_password"},
    {240, 16, "opmode"},
    {256, 16, "encryption"},
    {272, 8, "sae"},
    {280, 32, "sae_password"},
    {312, 8, "sae_pwe"},
    {320, 8, "sae_require_mfp"},
};
constexpr const char* RADIO_LOG[] = {"channel",    "txpower", "country",
                                     "radio_type", "hwmode",  "htmode"};
constexpr const char* FIRST_VAP_LOG[] = {"wifi_ssid", "wifi_password", "opmode", "encryption"};

/// Lines of the log that have one of these labels.
std::string only(const std::string& lines, std::span<const char* const> labels) {
    std::string text;
    for (const std::string label : labels) {
        const size_t start = ("\n" + lines).find("\n" + label + ": ");
        text += lines.substr(start, lines.find('\n', start) + 1 - start);
    }
    return text;
}

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

/// Command texts that give no member to a record, whatever object it looks for.
constexpr const char* EMPTY_COMMANDS[] = {
    "not json",
    "",
    "7",
    "[]",
    "{}",
    R"({"data":null})",
    R"({"data":"vap_config"})",
    R"({"data":[{"vap_config":{"ssid":"x"},"general_data":{"channel":1}}]})",
    R"({"data":{}})",
    R"({"data":{"vap_config":null,"general_data":null,"apconfigs":null}})",
    R"({"data":{"vap_config":["ssid"],"general_data":["channel"],"apconfigs":["radio_list"]}})",
    R"({"data":{"vap_config":"ssid","general_data":7,"apconfigs":{"radio_list":{}}}})",
    R"({"data":{"VAP_CONFIG":{"ssid":"x"},"General_data":{"channel":1}}})",
    R"({"data":{"vap_config":{"SSID":"x","wds":"1","freqlist":[1],"freqlist_len":24,"":1}}})",
    R"({"data":{"general_data":{"Channel":1,"ssid":"x","vap_list":{"ssid":"x"},"wifi2Flag":1}}})",
    R"({"data":{"vap_config":{"ssid":null,"mode":null}}})",
    R"({"data":{"general_data":{"channel":null,"vap_list":[],"wifi0Flag":null}}})",
    R"({"data":{"general_data":{"vap_list":["ssid",{"ssid":"second"}]}}})",
    R"({"data":{"general_data":{"vap_list":[[{"ssid":"x"}],{"key":"second"}]}}})",
};

} // namespace

TEST_F(WirelessTest, RadioListReport) {
    Image image(308);
    image.number(0, 2, 1)
        .number(2, 65535, 2)
        .number(4, 255, 1)
        .number(5, 200, 1)
        .number(6, 40000, 2)
        .text(8, "########") // reserved
        .text(16, "11axahe8")
        .text(24, std::string(32, 'h'))
        .text(56, "HE80/x")
        .text(88, std::string(16, 'n'))
        .number(104, 36, 2)
        .number(107, 20, 1)
        .number(108, 156, 2)
        .text(206 + 86, "third");
    fake().replies[5] = image;
    EXPECT_EQ(report_data(REPORT_UCI_RADIO_LIST),
              R"({ "uci_radio_list": [ { "radio_name": "nnnnnnnnnnnnnnnn", "channel": 65535, )"
              R"("disabled": 255, "txpower": 200, "country": 40000, "radio_type": "11axahe8", )"
              R"("hwmode": "hhhhhhhhhhhhhhhhhhhhhhhhhhhhhhhh", "htmode": "HE80\/x" }, )"
              R"({ "radio_name": "", "channel": 36, "disabled": 0, "txpower": 20, )"
              R"("country": 156, "radio_type": "", "hwmode": "", "htmode": "" } ] })");
}

TEST_F(WirelessTest, VapListReport) {
    const TextFieldsExample empty(2996, VAP, true);
    const TextFieldsExample full(2996, VAP, false);
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
}

TEST_F(WirelessTest, VapModeIsReportedWithItsWdsSuffix) {
    const struct {
        const char* mode;
        const char* wds;
        const char* reported;
    } rows[] = {
        {"ap", "1", "ap-wds"}, {"sta", "1", "sta-wds"}, {"ap", "0", "ap"}, {"sta", "", "sta"},
        {"ap", "10", "ap"},    {"mesh", "1", "mesh"},   {"AP", "1", "AP"}, {"", "1", ""},
    };
    for (const auto& row : rows) {
        fake().replies[16] =
            Image(23972).number(0, 1, 1).text(4 + 224, row.mode).text(4 + 232, row.wds);
        const std::string expected = std::string(R"("mode": ")") + row.reported + "\", ";
        EXPECT_NE(report_data(REPORT_UCI_VAP_LIST).find(expected), std::string::npos) << expected;
    }
}

TEST_F(WirelessTest, FrequencyListsKeepToTheirRoom) {
    const struct {
        uint32_t length;
        size_t reported;
    } rows[] = {{0, 0},     {23, 0},    {48, 2},      {50, 2},
                {2040, 85}, {2048, 85}, {100000, 85}, {0xFFFFFFFF, 85}};
    for (const auto& row : rows) {
        fake().replies[16] = Image(23972).number(0, 1, 1).number(4 + 2664, row.length, 4);
        const JsonPtr data(json_tokener_parse(report_data(REPORT_UCI_VAP_LIST).c_str()));
        json_object* const vaps = qv_json_member(data.get(), "uci_vap_list");
        json_object* const list = qv_json_member(json_object_array_get_idx(vaps, 0), "freqlist");
        EXPECT_EQ(json_object_array_length(list), row.reported) << row.length;
    }
}

TEST_F(WirelessTest, VapCommandFillsEveryField) {
    TextFieldsExample example(2996, VAP, false);
    const Bytes record = example.image.text(232, "0");
    const std::string payload = "{\"data\":{\"vap_config\":{" + example.members + "}}}";
    const struct {
        int32_t command;
        uint8_t message;
        bool reports;
    } rows[] = {{1004, 15, true}, {1006, 21, false}, {1007, 23, false}};
    for (const auto& row : rows) {
        for (const int32_t result : {-1, 0}) {
            SCOPED_TRACE(row.command);
            EXPECT_EQ(run_command(row.command, payload), result);
            EXPECT_EQ(without_reports(log), only(example.lines, VAP_LOG));
            ASSERT_EQ(published(log).size(), row.reports ? 1U : 0U);
            EXPECT_TRUE(!row.reports || published(log)[0].starts_with("{ \"type\": 1009, "));
            EXPECT_EQ(sent(row.message, 2996, row.reports ? 2 : 1), record);
            fake().acknowledge(row.message);
        }
    }
}

TEST_F(WirelessTest, VapCommandTakesValuesAsText) {
    const struct {
        const char* members;
        Bytes record;
    } rows[] = {
        {R"("ifname":"ath0","ssid":"net","mode":"ap-wds")",
         Image(2996).text(0, "ath0").text(192, "net").text(224, "ap").text(232, "1")},
        {R"("mode":"sta-wds")", Image(2996).text(224, "sta").text(232, "1")},
        {R"("mode":"sta")", Image(2996).text(224, "sta").text(232, "0")},
        {R"("mode":"ap-wdsx+")", Image(2996).text(224, "ap-wdsx+").text(232, "0")},
        {R"("mode":12)", Image(2996).text(224, "12").text(232, "0")},
        {R"("channel":36,"hidden":true,"rts":2346.5,"frag":-1)",
         Image(2996).text(48, "36").text(280, "true").text(592, "2346.5").text(576, "-1")},
        {R"("key":{"a":[1]},"Key1":"no","key2":"","wds":"1")",
         Image(2996).text(320, R"({ "a": [ 1 ] })")},
        {R"("ssid":"0123456789012345678901234567890é")", // the field ends inside a character
         Image(2996).text(192, "0123456789012345678901234567890\xC3")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.members);
        run_command(1006, std::string(R"({"data":{"vap_config":{)") + row.members + "}}}");
        EXPECT_EQ(sent(21, 2996), row.record);
    }
}

TEST_F(WirelessTest, RadioCommandFillsEveryField) {
    const TextFieldsExample radio(328, RADIO, false);
    const TextFieldsExample vap(328, FIRST_VAP, false);
    Bytes record = radio.image;
    record.resize(176);
    const Bytes of_vap = vap.image;
    record.insert(record.end(), of_vap.begin() + 176, of_vap.end());
    std::string payload = "{\"data\":{\"general_data\":{" + radio.members;
    payload += ",\"vap_list\":[{" + vap.members + "},{\"ssid\":\"second\"}]}}}";
    EXPECT_EQ(run_command(1005, payload), 0);
    EXPECT_EQ(without_reports(log), only(vap.lines, FIRST_VAP_LOG) + "\nplyload: " + payload +
                                        "\n-------------------------------\n" +
                                        only(radio.lines, RADIO_LOG) + vap.lines +
                                        "qv_mgr_set_radio_config: done\n");
    ASSERT_EQ(published(log).size(), 1U);
    EXPECT_TRUE(published(log)[0].ends_with(R"("data": { "uci_radio_list": [ ] } })"));
    EXPECT_TRUE(log.ends_with("} }\nqv_mgr_set_radio_config: done\n"));
    EXPECT_EQ(fake().requests.at(1), request_image(1, 5, {}));
    EXPECT_EQ(sent(22, 328, 2), record);

    // The lines of the VAP come in the order of the command; a null sets and prints nothing.
    run_command(1005, R"({"data":{"general_data":{"channel":"123456789","txpower":20,"vap_list":)"
                      R"([{"encryption":true,"key":null,"sae":2,"ssid":7}]}}})");
    EXPECT_TRUE(log.starts_with("encryption: true\nwifi_ssid: 7\n\nplyload: ")) << log;
    EXPECT_EQ(sent(22, 328, 2), Bytes(Image(328)
                                          .text(0, "12345678")
                                          .text(16, "20")
                                          .text(176, "7")
                                          .text(256, "true")
                                          .text(272, "2")));
}

TEST_F(WirelessTest, CommandsWithoutTheirObjectSendZeros) {
    const struct {
        int32_t command;
        uint8_t message;
        size_t size;
        size_t requests;
    } rows[] = {
        {1001, 9, 3548, 1},  {1004, 15, 2996, 2}, {1005, 22, 328, 2},
        {1007, 23, 2996, 1}, {1019, 25, 12, 1},
    };
    for (const auto& row : rows) {
        for (const char* const payload : EMPTY_COMMANDS) {
            SCOPED_TRACE(std::to_string(row.command) + payload);
            run_command(row.command, payload);
            EXPECT_EQ(sent(row.message, row.size, row.requests), Bytes(row.size));
        }
    }
}

namespace {

constexpr char TEXT31[] = "0123456789012345678901234567890";

std::string vap(const std::string& ssid, const std::string& opmode = "\"ap\"") {
    return "{\"ssid\":" + ssid + ",\"opmode\":" + opmode +
           R"(,"network":"lan","key":"secret","encryption":"psk2"})";
}
std::string repeated(const std::string& element, size_t count) {
    std::string list;
    for (size_t i = 0; i < count; ++i) {
        list += (i == 0 ? "" : ",") + element;
    }
    return list;
}
std::string radio(const std::string& vaps, const std::string& htmode = "\"HE80\"") {
    return R"({"channel":149,"disabled":"1","txpower":300,"country":70156,"hwmode":"11axa",)"
           R"("htmode":)" +
           htmode + ",\"vap_list\":[" + vaps + "]}";
}
std::string apconfigs(const std::string& radios) {
    return "{\"data\":{\"apconfigs\":{\"radio_list\":[" + radios + "]}}}";
}

Image& put_radio(Image& image, size_t base, uint32_t vaps) {
    return image.number(base, 149, 2)
        .number(base + 2, 1, 1)
        .number(base + 3, 44, 1)   // low 8 bits of 300
        .number(base + 4, 4620, 2) // low 16 bits of 70156
        .text(base + 6, "11axa")
        .text(base + 38, "HE80")
        .number(base + 72, vaps, 4);
}
Image& put_vap(Image& image, size_t base, std::string_view ssid, std::string_view opmode) {
    return image.text(base, ssid)
        .text(base + 32, opmode)
        .text(base + 42, "lan")
        .text(base + 74, "secret")
        .text(base + 106, "psk2");
}

} // namespace

TEST_F(WirelessTest, ApConfigsCommandFillsEveryField) {
    Image image(3548);
    image.number(4, 3, 4);
    const size_t last = 8 + 2 * 1180;
    put_radio(image, 8, 8);
    for (size_t i = 0; i < 8; ++i) {
        put_vap(image, 84 + 138 * i, TEXT31, "123456789");
    }
    put_radio(image, 8 + 1180, 0);
    put_radio(image, last, 2);
    put_vap(image, last + 76, "7", "ap");
    put_vap(image, last + 76 + 138, "", "true");
    const std::string payload =
        apconfigs(radio(repeated(vap(std::string("\"") + TEXT31 + "\"", "123456789"), 8)) + "," +
                  radio("") + "," + radio(vap("7") + "," + vap("null", "true")));
    EXPECT_EQ(run_command(1001, payload), -1);
    EXPECT_EQ(log, "");
    EXPECT_EQ(sent(9, 3548), Bytes(image));
    fake().acknowledge(9);
    EXPECT_EQ(run_command(1001, payload), 0);
}

TEST_F(WirelessTest, ApConfigsCommandSendsWhatItReadBeforeAGap) {
    const std::string not_found = "map_json_field_to_value(): field_name ";
    Image second_vap(3548);
    put_vap(put_radio(second_vap.number(4, 2, 4), 8, 2), 84, "one", "ap")
        .text(84 + 138, "two")
        .text(84 + 138 + 32, "sta");
    Image no_vap_list(3548);
    no_vap_list.number(4, 1, 4).number(8, 1, 2).text(14, "a").text(46, "b");
    const std::string numbers = R"({"channel":1,"disabled":0,"txpower":0,"country":0,)";
    const std::string texts = R"("hwmode":"a","htmode":"b",)";
    const struct {
        std::string payload;
        std::string log;
        Bytes record;
    } rows[] = {
        {apconfigs(radio(vap("\"one\"") + R"(,{"ssid":"two","opmode":"sta","key":"k"})") + "," +
                   radio("")),
         not_found + "network not found\n", second_vap},
        {apconfigs(numbers + texts + "\"x\":1}"), "", no_vap_list},
        {apconfigs(numbers + texts + "\"vap_list\":{\"ssid\":\"x\"}}"), "", no_vap_list},
        {apconfigs("{\"Channel\":1}"), not_found + "channel not found\n",
         Image(3548).number(4, 1, 4)},
        {apconfigs("7,[]"), not_found + "channel not found\n", Image(3548).number(4, 2, 4)},
        {apconfigs("null"), "map_json_field_to_value(): NULL jobj\n", Image(3548).number(4, 1, 4)},
        {apconfigs(""), "", Image(3548)},
        {"{", "inet_recv_request() json parse error, continue\n", Image(3548)},
    };
    fake().acknowledge(9);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.payload);
        EXPECT_EQ(run_command(1001, row.payload), 0);
        EXPECT_EQ(log, row.log);
        EXPECT_EQ(sent(9, 3548), row.record);
    }
}

TEST_F(WirelessTest, ApConfigsCommandThatDoesNotFitIsRefused) {
    const std::string text32 = std::string("\"") + TEXT31 + "x\"";
    const struct {
        std::string radios;
        const char* what;
    } rows[] = {
        {repeated(radio(""), 4), "radio_list: length 4, at most 3"},
        {radio("") + "," + radio(repeated(vap("1"), 9)), "radio 1, vap_list: length 9, at most 8"},
        {radio("", text32), "radio 0, htmode: length 32, at most 31"},
        {radio("") + "," + radio(vap("1") + "," + vap(text32)),
         "radio 1, vap 1, ssid: length 32, at most 31"},
        {radio(vap("1", "1234567890")), "radio 0, vap 0, opmode: length 10, at most 9"},
    };
    fake().acknowledge(9);
    for (const auto& row : rows) {
        EXPECT_EQ(run_command(1001, apconfigs(row.radios)), -1);
        EXPECT_EQ(log, std::string("QV_ERR: apconfigs refused: ") + row.what + "\n");
        EXPECT_TRUE(fake().requests.empty());
    }
}

TEST_F(WirelessTest, MacListStatus) {
    const struct {
        const char* general_data;
        const char* text; ///< as logged
        uint32_t index;
    } rows[] = {
        {R"("1")", "1", 1},         {"2", "2", 2},    {R"(" -3x")", " -3x", 0xFFFFFFFD},
        {R"("wifi1")", "wifi1", 0}, {R"("")", "", 0}, {R"("1234567")", "1234567", 1234567},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.general_data);
        fake().replies[24] = Image(4).number(0, 0xFFFFFFFE, 4);
        EXPECT_EQ(
            run_command(1018, std::string(R"({"data":{"general_data":)") + row.general_data + "}}"),
            0);
        const std::string rest = without_reports(log);
        EXPECT_EQ(rest.substr(rest.find('\n') + 1), // behind the parsed text
                  std::string("\n-----wifi_index:") + row.text +
                      "----------\n\n-----wifi_index:len:" + std::to_string(strlen(row.text)) +
                      "----------\n");
        EXPECT_EQ(sent(24, 4), Bytes(Image(4).number(0, row.index, 4)));
        ASSERT_EQ(published(log).size(), 1U);
        EXPECT_TRUE(published(log)[0].starts_with(R"({ "type": 1014, "flag": "REQ", )"));
        EXPECT_TRUE(published(log)[0].ends_with(
            R"("data": { "uci_vap_maclist": { "uploading_status": -2 } } })"));
    }
    fake().wrong_id = true;
    for (const char* const payload : EMPTY_COMMANDS) {
        if (strstr(payload, "general_data") == nullptr) {
            run_command(1018, payload);
            EXPECT_EQ(sent(24, 4), Bytes(4));
            EXPECT_NE(log.find(R"({ "uploading_status": 0 })"), std::string::npos);
            run_command(1022, payload);
            EXPECT_EQ(sent(26, 1), Bytes(1));
        }
        fake().calls.clear();
        run_command(1020, payload);
        EXPECT_EQ(fake().calls, (std::vector<std::string>{"uciInit", "uciDestroy"}));
        fake().requests.clear();
    }
    EXPECT_EQ(run_command(1018, R"({"data":{"general_data":"1\u0000345678"}})"), -1);
    EXPECT_EQ(run_command(1018, R"({"data":{"general_data":"12345678"}})"), -1);
    EXPECT_TRUE(log.ends_with("} }\nQV_ERR: wifi index refused: longer than 7 bytes\n"));
    EXPECT_TRUE(fake().requests.empty());
    EXPECT_TRUE(published(log).empty());
}

TEST_F(WirelessTest, MacListSettingsAndRemoval) {
    const std::string both = "uciDelete wireless @wifi-iface[0] maclist,uciCommit wireless,"
                             "uciDelete wireless @wifi-iface[1] maclist,uciCommit wireless,";
    const struct {
        const char* general_data;
        uint32_t record[3];
        std::string calls;
    } rows[] = {
        {R"({"maclist_size":5,"wifi0Flag":1})", {5, 1, 0}, both.substr(0, both.size() / 2)},
        {R"({"wifi1Flag":"1","maclist_size":"-2","wifi0Flag":0})",
         {0xFFFFFFFE, 0, 1},
         both.substr(both.size() / 2)},
        {R"({"wifi0Flag":true,"wifi1Flag":1.9,"x":3})", {0, 1, 1}, both},
        {R"({"wifi0Flag":2,"wifi1Flag":{"a":1},"WIFI1FLAG":1})", {0, 2, 0}, ""},
        {"{}", {0, 0, 0}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.general_data);
        const std::string payload =
            std::string(R"({"data":{"general_data":)") + row.general_data + "}}";
        EXPECT_EQ(run_command(1019, payload), -1);
        EXPECT_EQ(sent(25, 12), Bytes(Image(12)
                                          .number(0, row.record[0], 4)
                                          .number(4, row.record[1], 4)
                                          .number(8, row.record[2], 4)));
        fake().calls.clear();
        EXPECT_EQ(run_command(1020, payload), 0);
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
    const std::string text63 = std::string(TEXT31) + TEXT31 + "x";
    const struct {
        std::string general_data;
        std::string text;
    } rows[] = {
        {"\"ten chars.\"", "ten chars."},
        {"\"\"", ""},
        {R"({"a":[1,"x/y"]})", R"({ "a": [ 1, "x\/y" ] })"},
        {"\"" + text63 + "\"", text63},
    };
    for (const auto& row : rows) {
        const std::string payload = "{\"data\":{\"general_data\":" + row.general_data + "}}";
        EXPECT_EQ(run_command(1022, payload), -1);
        EXPECT_TRUE(log.starts_with("SUB MSG: payload=" + payload + "\nParsed JSON object: "));
        EXPECT_EQ(sent(26, row.text.size() + 1),
                  Bytes(Image(row.text.size() + 1).text(0, row.text)));
    }
    fake().acknowledge(26);
    EXPECT_EQ(run_command(1022, "no json"), 0);
    EXPECT_EQ(sent(26, 1), Bytes(1));
    EXPECT_EQ(run_command(1022, "{\"data\":{\"general_data\":\"" + text63 + "y\"}}"), -1);
    EXPECT_TRUE(log.ends_with("} }\nQV_ERR: general_data refused: longer than 63 bytes\n"));
    EXPECT_TRUE(fake().requests.empty());
}
