#include "json/json_field.h"
#include "json/text.h"
#include "support.h"

#include <json-c/json.h>

using JsonTest = AgentTest;

TEST_F(JsonTest, WritesEachTypeCodeWithItsWidthAndSign) {
    const uint64_t ones = ~uint64_t{0};
    const uint64_t clock_ms = 1700000000123;
    const double half = 0.5;
    const struct {
        int32_t type;
        const void* source;
        std::string value; ///< none when nothing is added
    } rows[] = {
        {-1, &ones, ""},      {0, &ones, ""},
        {1, "\"", R"("\"")"}, {2, &ones, "true"},
        {3, &ones, "-1"},     {4, &ones, "-1"},
        {5, &ones, "-1"},     {6, &ones, "-1"},
        {8, &ones, "-1"},     {7, &clock_ms, "1700000000123"},
        {9, &ones, "255"},    {12, &clock_ms, "1700000000123"},
        {10, &ones, "65535"}, {13, &half, "0.5"},
        {11, &ones, "-1"},    {14, &ones, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        const JsonPtr object(json_object_new_object());
        EXPECT_EQ(map_value_to_json_field(object.get(), row.type, "k", row.source),
                  row.value.empty() ? 0 : 1);
        EXPECT_EQ(qv_json_to_string(object.get()),
                  row.value.empty() ? "{ }" : "{ \"k\": " + row.value + " }");
    }
}

TEST_F(JsonTest, ReadsMembersAsJsonCConvertsThem) {
    uint64_t stored = 0;
    const auto read = [&](int32_t type, size_t width, const std::string& json) {
        const JsonPtr root(json_tokener_parse(json.c_str()));
        const auto bytes = std::as_writable_bytes(std::span(&stored, 1)).first(width);
        int32_t result = 0;
        stored = 0;
        log = log_of([&] { result = map_json_field_to_value(root.get(), type, "k", bytes); });
        return result == 1 && log.empty();
    };
    const struct {
        int32_t type;
        size_t width; ///< of the destination
        const char* value;
        uint64_t stored;
    } rows[] = {
        {2, 4, "7", 1},
        {3, 4, R"("1035")", 1035},
        {3, 4, "2.9", 2},
        {3, 4, "null", 0},
        {3, 4, "99999999999", INT32_MAX},
        {4, 1, "200", 200},
        {5, 2, "40000", 40000},
        {8, 4, "-1", 0xFFFFFFFF},
        {9, 1, "300", 44},
        {10, 2, "70000", 4464},
        {12, 8, R"("1700000000000")", 1700000000000},
        {13, 8, R"("2.5")", 0x4004000000000000},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(read(row.type, row.width, "{\"k\":" + std::string(row.value) + "}")) << log;
        EXPECT_EQ(stored, row.stored) << row.type;
    }
    const std::tuple<int32_t, const char*, std::string> refused[] = {
        {3, "", "NULL jobj"},
        {3, R"({"K":1})", "field_name k not found"},
        {3, "[1]", "field_name k not found"},
        {6, R"({"k":1})", "unknown field_type 6"},
        {7, R"({"k":1})", "unknown field_type 7"},
        {11, R"({"k":1})", "unknown field_type 11"},
        {14, R"({"k":1})", "unknown field_type 14"},
        {12, R"({"k":1})", "field_type 12 does not go into 4 bytes"},
        {1, R"({"k":"x"})", "field_type 1 does not go into 4 bytes"},
    };
    for (const auto& [type, json, line] : refused) {
        EXPECT_FALSE(read(type, 4, json));
        EXPECT_EQ(log, "map_json_field_to_value(): " + line + "\n");
        EXPECT_EQ(stored, 0U);
    }
    const std::string unchanged = "########";
    const std::pair<const char*, std::string> texts[] = {
        {R"({"k":"seven77"})", "seven77"},
        {R"({"k":"eight888"})", unchanged},
        {R"({"k":12345})", "12345"},
        {R"({"k":{"a":1}})", unchanged},
        {R"({"k":null})", ""},
        {R"({"k":"a\u0000b"})", unchanged},
    };
    for (const auto& [json, expected] : texts) {
        const JsonPtr root(json_tokener_parse(json));
        char text[9] = "########";
        const std::span<char> destination(text, 8);
        log = log_of([&] { map_json_field_to_value(root.get(), 1, "k", destination); });
        EXPECT_EQ(text, expected);
        EXPECT_EQ(log.ends_with("field_name k longer than 7 bytes\n"), expected == unchanged);
    }
}

TEST_F(JsonTest, TextsAreAlwaysUtf8) {
    const std::pair<std::string_view, std::string_view> rows[] = {
        {"grün €🎈", "grün €🎈"},
        {"a\x80z", "a\uFFFDz"},
        {"cut \xE2\x82", "cut \uFFFD\uFFFD"},
        {"\xC0\xAF", "\uFFFD\uFFFD"}, // overlong
        {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},           // surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // beyond U+10FFFF
        {"\xC3\xC3\xA4", "\uFFFDä"},
    };
    for (const auto& [text, reported] : rows) {
        EXPECT_EQ(json_object_get_string(qv_json_new_text(text).get()), reported);
    }
    const size_t cuts[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (size_t limit = 0; limit < std::size(cuts); ++limit) {
        EXPECT_EQ(qv_utf8_cut("aä€🎈", limit), cuts[limit]) << limit; // 1 + 2 + 3 + 4 bytes
    }
    EXPECT_EQ(qv_utf8_cut("\x80\x80\x80", 2), 2U);
    EXPECT_EQ(qv_utf8_cut("ab\xE2\x82|", 4), 4U); // a lead byte that keeps no promise
}
