#include "json/json_field.h"
#include "json/mac_text.h"
#include "json/text.h"
#include "protocol/record_walk.h"
#include "reports/report.h"
#include "support.h"

#include <chrono>
#include <json-c/json.h>
#include <random>

using MessagesTest = AgentTest;

TEST_F(MessagesTest, WritesEachTypeCodeWithItsWidthAndSign) {
    const uint64_t ones = ~uint64_t{0};
    const uint64_t clock_ms = 1700000000123;
    const double half = 0.5;
    const struct {
        int32_t type;
        const void* source;
        const char* text; ///< none when nothing is added
    } rows[] = {
        {0, &ones, nullptr},
        {1, "a/\"b", R"({ "k": "a\/\"b" })"},
        {2, &ones, R"({ "k": true })"},
        {3, &ones, R"({ "k": -1 })"},
        {4, &ones, R"({ "k": -1 })"},
        {5, &ones, R"({ "k": -1 })"},
        {6, &ones, R"({ "k": -1 })"},
        {7, &clock_ms, R"({ "k": 1700000000123 })"},
        {8, &ones, R"({ "k": -1 })"},
        {9, &ones, R"({ "k": 255 })"},
        {10, &ones, R"({ "k": 65535 })"},
        {11, &ones, R"({ "k": -1 })"},
        {12, &clock_ms, R"({ "k": 1700000000123 })"},
        {13, &half, R"({ "k": 0.5 })"},
        {14, &ones, nullptr},
        {-1, &ones, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        const JsonPtr object(json_object_new_object());
        EXPECT_EQ(map_value_to_json_field(object.get(), row.type, "k", row.source),
                  row.text != nullptr);
        EXPECT_STREQ(qv_json_to_string(object.get()), row.text != nullptr ? row.text : "{ }");
    }
}

TEST_F(MessagesTest, ReadsNumbersAsJsonCConvertsThem) {
    const std::string not_found = "field_name k not found";
    const struct {
        int32_t type;
        size_t width; ///< of the destination
        const char* json;
        uint64_t stored;
        std::string line; ///< when refused, and nothing is stored
    } rows[] = {
        {3, 4, R"({"k":1035})", 1035, ""},
        {3, 4, R"({"k":"1035"})", 1035, ""},
        {3, 4, R"({"k":2.9})", 2, ""},
        {3, 4, R"({"k":null})", 0, ""},
        {3, 4, R"({"k":99999999999})", INT32_MAX, ""},
        {2, 4, R"({"k":7})", 1, ""},
        {8, 4, R"({"k":-1})", 0xFFFFFFFF, ""},
        {4, 1, R"({"k":200})", 200, ""},
        {5, 2, R"({"k":40000})", 40000, ""},
        {9, 1, R"({"k":300})", 44, ""},
        {10, 2, R"({"k":70000})", 4464, ""},
        {12, 8, R"({"k":"1700000000000"})", 1700000000000, ""},
        {13, 8, R"({"k":"2.5"})", 0x4004000000000000, ""},
        {3, 4, nullptr, 0, "NULL jobj"},
        {3, 4, "{}", 0, not_found},
        {3, 4, R"({"K":1})", 0, not_found},
        {3, 4, "[1]", 0, not_found},
        {3, 4, "7", 0, not_found},
        {6, 4, R"({"k":1})", 0, "unknown field_type 6"},
        {7, 8, R"({"k":1})", 0, "unknown field_type 7"},
        {11, 4, R"({"k":1})", 0, "unknown field_type 11"},
        {14, 4, R"({"k":1})", 0, "unknown field_type 14"},
        {12, 4, R"({"k":1})", 0, "field_type 12 does not go into 4 bytes"},
        {1, 4, R"({"k":"x"})", 0, "field_type 1 does not go into 4 bytes"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.type) + " " + (row.json == nullptr ? "-" : row.json));
        const JsonPtr root(row.json == nullptr ? nullptr : json_tokener_parse(row.json));
        std::byte bytes[8] = {};
        const bool refused = !row.line.empty();
        log = log_of([&] {
            EXPECT_EQ(map_json_field_to_value(root.get(), row.type, "k",
                                              std::span(bytes).first(row.width)),
                      refused ? 0 : 1);
        });
        EXPECT_EQ(log, refused ? "map_json_field_to_value(): " + row.line + "\n" : "");
        uint64_t stored = 0;
        memcpy(&stored, bytes, sizeof stored);
        EXPECT_EQ(stored, row.stored);
    }
}

TEST_F(MessagesTest, TextsKeepToTheirCapacity) {
    const struct {
        const char* json;
        const char* stored; ///< none when refused
    } rows[] = {
        {R"({"k":"seven77"})", "seven77"}, {R"({"k":"eight888"})", nullptr},
        {R"({"k":12345})", "12345"},       {R"({"k":null})", ""},
        {R"({"k":{"a":1}})", nullptr},     {R"({"k":"a\u0000b"})", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        const JsonPtr root(json_tokener_parse(row.json));
        char text[9] = "########";
        const std::span<char> destination(text, 8);
        log = log_of([&] {
            EXPECT_EQ(map_json_field_to_value(root.get(), FIELD_TYPE_STRING, "k", destination),
                      row.stored != nullptr);
        });
        EXPECT_STREQ(text, row.stored != nullptr ? row.stored : "########");
        EXPECT_EQ(log, row.stored != nullptr
                           ? ""
                           : "map_json_field_to_value(): field_name k longer than 7 bytes\n");
    }
}

TEST_F(MessagesTest, ParsesCommandTexts) {
    const struct {
        std::string text;
        const char* parsed; ///< none when refused
        bool line;
    } rows[] = {
        {R"({"type":1000}{"x":1})", R"({ "type": 1000 })", false},
        {R"({"type":)", nullptr, true},
        {"", nullptr, true},
        {"hello", nullptr, true},
        {std::string(100, '['), nullptr, true},
        {"null", nullptr, true}, // more could follow
        {"null ", nullptr, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        JsonPtr root;
        log = log_of([&] {
            root = inet_recv_request(row.text.data(), static_cast<uint32_t>(row.text.size()));
        });
        EXPECT_STREQ(qv_json_to_string(root.get()), row.parsed);
        EXPECT_EQ(log.starts_with("inet_recv_request() json parse error, "), row.line) << log;
    }
    EXPECT_EQ(log_of([] { EXPECT_EQ(inet_recv_request(nullptr, 0), nullptr); }), "");
}

TEST_F(MessagesTest, GeneralDataKeepsToItsDestination) {
    const struct {
        const char* text;
        GeneralData outcome;
        const char* stored;
    } rows[] = {
        {R"({"data":{"general_data":{"a":1}}})", GeneralData::stored, R"({ "a": 1 })"},
        {R"({"data":{"general_data":null}})", GeneralData::stored, ""},
        {R"({"data":{"general_data":"0123456789a"}})", GeneralData::stored, "0123456789a"},
        {R"({"data":{"general_data":"0123456789ab"}})", GeneralData::too_long, "before"},
        {R"({"data":["general_data"]})", GeneralData::absent, "before"},
        {"not json", GeneralData::absent, "before"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        char text[12] = "before";
        GeneralData outcome{};
        log = log_of(
            [&] { EXPECT_EQ(qv_json_parse_msg_get_general_data(text, row.text, 0, &outcome), 0); });
        EXPECT_EQ(outcome, row.outcome);
        EXPECT_STREQ(text, row.stored);
        EXPECT_TRUE(log.starts_with("Parsed JSON object: ")) << log;
    }
}

TEST_F(MessagesTest, JsonTextsAreAlwaysUtf8) {
    const struct {
        std::string_view text;
        std::string_view reported;
    } rows[] = {
        {"", ""},
        {"grün €🎈", "grün €🎈"},
        {"a\x80z", "a\uFFFDz"},
        {"cut \xE2\x82", "cut \uFFFD\uFFFD"},
        {"\xC0\xAF", "\uFFFD\uFFFD"}, // overlong
        {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},           // surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // beyond U+10FFFF
        {"\xC3\xC3\xA4", "\uFFFDä"},
    };
    for (const auto& row : rows) {
        const JsonPtr value = qv_json_new_text(row.text);
        EXPECT_EQ(json_object_get_string(value.get()), row.reported);
    }
}

TEST_F(MessagesTest, CutsBetweenCharacters) {
    const size_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (size_t limit = 0; limit < std::size(expected); ++limit) {
        EXPECT_EQ(qv_utf8_cut("aä€🎈", limit), expected[limit]) << limit; // 1 + 2 + 3 + 4 bytes
    }
    EXPECT_EQ(qv_utf8_cut("\x80\x80\x80", 2), 2U);
    EXPECT_EQ(qv_utf8_cut("ab\xE2\x82|", 4), 4U); // a lead byte that keeps no promise
}

uint64_t wall_clock_ms() {
    using namespace std::chrono;
    return static_cast<uint64_t>(
        floor<milliseconds>(system_clock::now().time_since_epoch()).count());
}

TEST_F(MessagesTest, EnvelopeAndOwnBodies) {
    ReportBuffer buffer;
    uint32_t length = 0;
    const uint64_t begin = wall_clock_ms();
    ASSERT_EQ(qv_json_build_msg(context, REPORT_DEVICE_DISCOVERY, buffer, length), 0);
    std::string text = buffer.text();
    EXPECT_EQ(text.size(), length);
    const size_t digits = text.find("\"timestamp\": ") + 13;
    const uint64_t timestamp = std::stoull(text.substr(digits));
    EXPECT_GE(timestamp, begin);
    EXPECT_LE(timestamp, wall_clock_ms());
    text.replace(digits, 13, "T");
    EXPECT_EQ(text, R"({ "type": 1000, "flag": "REQ", "fwname": "QV_VER_1_0_1", )"
                    R"("hwname": "KX7310", "timestamp": T, "macaddr": "00:11:22:aa:bb:cc", )"
                    R"("data": { "device_discovery_macaddr": )"
                    R"({ "macaddr": "00:11:22:aa:bb:cc" } } })");
    for (const int32_t status : {201, -2, -256}) {
        ASSERT_EQ(qv_json_build_msg(context, REPORT_UPDATA_STATS, buffer, length, status), 0);
        const std::string end =
            R"("ip": "192.168.1.1", "data": { "updata_stats": )" + std::to_string(status) + " } }";
        EXPECT_TRUE(std::string_view(buffer.text()).ends_with(end)) << buffer.text();
    }
    for (const int32_t kind : {0, 2, 3, 16, -1}) {
        ReportBuffer untouched;
        EXPECT_EQ(qv_json_build_msg(context, kind, untouched, length = 77), -1);
        EXPECT_STREQ(untouched.text(), "");
        EXPECT_EQ(length, 77U);
    }
}

TEST_F(MessagesTest, MacText) {
    const uint8_t mac[] = {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f};
    char text[64] = "before";
    EXPECT_EQ(qv_mac_to_string(nullptr, 64, mac), -1);
    EXPECT_EQ(qv_mac_to_string(text, 64, nullptr), -1);
    EXPECT_EQ(qv_mac_to_string(text, 0, mac), -1);
    EXPECT_STREQ(text, "before");
    const std::string whole = "0a:1b:2c:3d:4e:5f";
    for (const uint32_t capacity : {64U, 18U, 17U, 1U}) {
        memset(text, 'x', sizeof text);
        EXPECT_EQ(qv_mac_to_string(text, capacity, mac), 17);
        EXPECT_EQ(text, whole.substr(0, capacity - 1));
        EXPECT_EQ(text[std::min(capacity, 18U)], 'x');
    }
}

namespace {

using Record = std::span<const std::byte>;

JsonPtr object_of(Record record, RecordTable fields);

JsonPtr array_of(Record record, const RecordList& list) {
    JsonPtr array(json_object_new_array());
    for (size_t i = 0; i < qv_listed(record, list); ++i) {
        const Record entry = record.subspan(list.first + i * list.stride, list.stride);
        qv_json_append(array.get(), object_of(entry, list.fields));
    }
    return array;
}

JsonPtr value_of(Record record, const RecordField& field) {
    char mac_text[MAC_TEXT_SIZE] = {};
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return qv_json_new_text(qv_record_text(record, field));
    case RecordFieldType::mac:
        qv_mac_to_string(mac_text, sizeof mac_text, qv_record_mac(record, field));
        return JsonPtr(json_object_new_string(mac_text));
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32:
        return JsonPtr(json_object_new_int(qv_record_integer(record, field)));
    case RecordFieldType::list: return array_of(record, *field.special->list);
    case RecordFieldType::computed: return qv_json_new_text(field.special->compute(record));
    }
    return nullptr;
}

bool is_shown(Record record, const RecordField& field) {
    if (field.type != RecordFieldType::list) {
        return true;
    }
    const RecordList& list = *field.special->list;
    const uint32_t count = qv_list_count(record, list);
    return count <= list.shown_max && (count > 0 || list.shown_empty);
}

JsonPtr object_of(Record record, RecordTable fields) {
    if (!fields[0].has_key()) {
        return value_of(record, fields[0]);
    }
    JsonPtr object(json_object_new_object());
    for (const RecordField& field : fields) {
        if (is_shown(record, field)) {
            qv_json_add(object.get(), field.key, value_of(record, field));
        }
    }
    return object;
}

/// A report as json-c has it.
std::string printed(const ReportKind& row, Record record, const DeviceIdentity& sender,
                    uint64_t timestamp) {
    const JsonPtr report(json_object_new_object());
    const auto add = [&](FieldType type, const char* key, const void* value) {
        map_value_to_json_field(report.get(), type, key, value);
    };
    char macaddr[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(macaddr, sizeof macaddr, sender.macaddr.data());
    add(FIELD_TYPE_UINT, "type", &row.type);
    add(FIELD_TYPE_STRING, "flag", "REQ");
    add(FIELD_TYPE_STRING, "fwname", "QV_VER_1_0_1");
    add(FIELD_TYPE_STRING, "hwname", "KX7310");
    add(FIELD_TYPE_UINT64, "timestamp", &timestamp);
    add(FIELD_TYPE_STRING, "macaddr", macaddr);
    if (row.has_ip) {
        add(FIELD_TYPE_STRING, "ip", sender.ipaddr.data());
    }
    JsonPtr data(json_object_new_object());
    qv_json_add(data.get(), row.data_key,
                row.list != nullptr ? array_of(record, *row.list) : object_of(record, *row.fields));
    qv_json_add(report.get(), "data", std::move(data));
    return qv_json_to_string(report.get());
}

/// Every byte alone, and then what a writer could stumble over, at every place beside each other.
Bytes filling(size_t size, uint32_t number) {
    constexpr std::string_view PIECES[] = {
        "plain text", "4", "\"", "\\", "/", "\x1F", "\x7F", "ä", "€", "🎈", "\xE2\x82", {"\0", 1},
    };
    if (number <= UINT8_MAX) {
        return Bytes(size, static_cast<uint8_t>(number));
    }
    Bytes bytes;
    std::minstd_rand random(number);
    while (bytes.size() < size) {
        const std::string_view piece = PIECES[random() % std::size(PIECES)];
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    bytes.resize(size);
    return bytes;
}

} // namespace

// Reports are written without json-c's objects: it must not show.
TEST_F(MessagesTest, ReportsAreWrittenAsJsonCPrintsThem) {
    log = log_of([&] { // hooks print
        for (const ReportKind& row : context.report_kinds) {
            for (uint32_t number = 0; number < UINT8_MAX + 64; ++number) {
                Bytes bytes = filling(row.record_size, number);
                fake().reply_to_others = bytes;
                ReportBuffer buffer;
                uint32_t length = 0;
                qv_json_build_msg_of_type(context, row.type, buffer, length, INT32_MIN);
                const std::string text = buffer.text();
                EXPECT_EQ(text.size(), length);

                const std::span<std::byte> record = std::as_writable_bytes(std::span(bytes));
                if (row.fill != nullptr) {
                    row.fill(context, INT32_MIN, record);
                } else if (row.on_record != nullptr) {
                    row.on_record(record);
                }
                const uint64_t timestamp = std::stoull(text.substr(text.find("timestamp") + 12));
                ASSERT_EQ(text, printed(row, record, context.identity, timestamp)) << number;
            }
        }
    });
}
