#include "platform/zendry_common/uci_document.h"

#include <gtest/gtest.h>
#include <string>

using namespace zendry;

namespace {

// Every form the syntax has, in one file.
constexpr const char* sample = "# heading\n"
                               "package 'wireless'\n"
                               "\n"
                               "config wifi-device radio0   # first\n"
                               "\toption channel \"3\\\"6\"  # kept\n"
                               "  option\thwmode 11a\r\n"
                               "config wifi-iface\n"
                               "\tlist maclist '00:11'\n"
                               "\toption ssid 'a b'\\''c'\"d\\\\\"e\\ f\n"
                               "\tlist maclist 22:33\n"
                               "\toption note 'two\n"
                               "lines # no comment; no end'\n"
                               "config wifi-iface 'guest'; option ssid g ; option key k\n"
                               "config wifi-iface\n"
                               "\toption empty ''\n"
                               "\toption joined one\\\n"
                               "two";

UciDocument parsed(const std::string& text) {
    UciDocument document;
    UciError error;
    EXPECT_TRUE(document.parse(text, error)) << error.line << ": " << error.text;
    return document;
}

} // namespace

TEST(UciDocument, ReadsValuesByEveryAddress) {
    const UciDocument document = parsed(sample);
    const struct {
        const char* section;
        const char* option;
        const char* value; // null: none
    } table[] = {
        {"radio0", "channel", "3\"6"},
        {"@wifi-device[0]", "hwmode", "11a"},
        {"@wifi-iface[0]", "ssid", "a b'cd\\e f"},
        {"@wifi-iface[-3]", "note", "two\nlines # no comment; no end"},
        {"@wifi-iface[0]", "maclist", nullptr},
        {"@wifi-iface[1]", "ssid", "g"},
        {"guest", "key", "k"},
        {"@wifi-iface[-1]", "empty", ""},
        {"@wifi-iface[2]", "joined", "onetwo"},
        {"@wifi-iface[-4]", "ssid", nullptr},
        {"@wifi-iface[3]", "ssid", nullptr},
        {"@wifi-iface[]", "ssid", nullptr},
        {"@wifi-iface[99999999999]", "ssid", nullptr},
        {"@[", "ssid", nullptr},
        {"", "ssid", nullptr},
        {"wifi-iface", "ssid", nullptr},
    };
    for (const auto& row : table) {
        const auto value = document.value(row.section, row.option);
        EXPECT_EQ(value.has_value(), row.value != nullptr) << row.section << '.' << row.option;
        EXPECT_EQ(value.value_or(""), row.value != nullptr ? row.value : "") << row.section;
    }
}

TEST(UciDocument, BlocksOfOneNameAreOneSectionAndTheLastOptionCounts) {
    const UciDocument document =
        parsed("config t a\noption x 1\nconfig t b\nconfig t a\noption x 2\n");
    EXPECT_EQ(document.value("a", "x"), "2");
    ASSERT_NE(document.find("@t[1]"), nullptr);
    EXPECT_EQ(document.find("@t[1]")->name, "b");
    EXPECT_EQ(document.find("@t[2]"), nullptr);
}

TEST(UciDocument, EditsTouchOnlyTheirStatement) {
    struct {
        const char* before;
        const char* option; ///< of section a; none: the section conf 'broker' is added
        const char* value;  ///< none: the option is removed
        const char* after;
    } const table[] = {
        // replaced in place, comment kept
        {"config t a # c\n  option  x  \"1\"  # d\n\toption y 2\n", "x", "it's",
         "config t a # c\n  option x 'it'\\''s'  # d\n\toption y 2\n"},
        // new option behind the section's last statement, not behind the next heading
        {"config t a\n\toption x 1 # c\n\n# next\nconfig t b\n", "z", "",
         "config t a\n\toption x 1 # c\n\toption z ''\n\n# next\nconfig t b\n"},
        {"config t a", "x", "1", "config t a\n\toption x '1'\n"},
        {"config t a; config t b\n", "x", "1", "config t a;\n\toption x '1'\n config t b\n"},
        // a last line that is joined to whatever comes next
        {"config t a\n\toption x one\\\n", "z", "1",
         "config t a\n\toption x one\\\n\n\toption z '1'\n"},
        {"config t a\n\toption x 1 \\\n", "z", "1",
         "config t a\n\toption x 1 \\\n\n\toption z '1'\n"},
        {"config t a \\\n", "z", "1", "config t a \\\n\n\toption z '1'\n"},
        {"config t a\n\\\n", nullptr, nullptr, "config t a\n\\\n\nconfig conf 'broker'\n"},
        // a list gives way to an option, and so do repeated options
        {"config t a\n\tlist x 1\n\toption y 1\n\tlist x 2\n", "x", "2",
         "config t a\n\toption y 1\n\toption x '2'\n"},
        {"config t a\n\tlist x '1\n2' # c\n\toption y 1\n\tlist x 3", "x", nullptr,
         "config t a\n\toption y 1\n"},
        {"config t a; option x 1; option y 2 # c\n", "x", nullptr, "config t a; option y 2 # c\n"},
        {"config t a; option y 2 # c\nconfig t b\n", "y", nullptr, "config t a;\nconfig t b\n"},
        {"", nullptr, nullptr, "config conf 'broker'\n"},
        {"config t # c", nullptr, nullptr, "config t # c\n\nconfig conf 'broker'\n"},
        // nothing to do
        {"config t a\noption x \"1\" # c\n", "x", "1", "config t a\noption x \"1\" # c\n"},
        {"config conf broker", nullptr, nullptr, "config conf broker"},
    };
    for (const auto& row : table) {
        UciDocument document = parsed(row.before);
        const bool done = row.option == nullptr  ? document.add_section("conf", "broker")
                          : row.value == nullptr ? document.remove("a", row.option)
                                                 : document.set("a", row.option, row.value);
        EXPECT_TRUE(done) << row.before;
        EXPECT_EQ(document.text(), row.after);
    }
}

TEST(UciDocument, RefusedEditsChangeNothing) {
    UciDocument document = parsed(sample);
    EXPECT_FALSE(document.set("nobody", "x", "1"));
    EXPECT_FALSE(document.set("radio0", "x y", "1"));
    EXPECT_FALSE(document.set("radio0", "", "1"));
    EXPECT_FALSE(document.set("radio0", "x", std::string(UCI_MAX_SIZE, 'x')));
    EXPECT_FALSE(document.remove("radio0", "absent"));
    EXPECT_FALSE(document.add_section("conf", "radio0"));
    EXPECT_FALSE(document.add_section("co nf", "broker"));
    EXPECT_FALSE(document.add_section("conf", "bro-ker"));
    EXPECT_EQ(document.text(), sample);
}

TEST(UciDocument, AnyValueReadsBackExactly) {
    std::string every_byte;
    for (int c = 1; c < 256; ++c) {
        every_byte.push_back(static_cast<char>(c));
    }
    for (const std::string& value :
         {every_byte, std::string("'"), std::string("''\\'"), std::string("\\"),
          std::string("\n\nconfig x 'y'\n\toption a b"), std::string(" # ;"), std::string()}) {
        for (const char* address : {"@wifi-iface[0]", "guest", "@wifi-iface[-1]"}) {
            UciDocument document = parsed(sample);
            ASSERT_TRUE(document.set(address, "ssid", value));
            const UciDocument again = parsed(document.text());
            EXPECT_EQ(again.value(address, "ssid"), value);
            EXPECT_EQ(again.value("@wifi-iface[2]", "joined"), "onetwo");
        }
    }
}

TEST(UciDocument, SaysWhereATextIsMalformed) {
    const struct {
        std::string text;
        uint32_t line;
    } table[] = {
        {"config t a\noption x 'open\n\n", 2},
        {"config t a\noption x 1\\", 2},
        {"\noption x 1\n", 2},
        {"config t a\noption x 1 2\n", 2},
        {"config\n", 1},
        {"config t a b\n", 1},
        {"config t 'a\nb'\n", 1},
        {"config t ../a\n", 1},
        {"config 't t'\n", 1},
        {"config t a\noption x.y 1\n", 2},
        {"config t a\n# c\n\nconfigure t b\n", 4},
        {"config t a\nconfig u a\n", 2},
        {std::string("config t a\n# \0\n", 14), 2},
    };
    for (const auto& row : table) {
        UciDocument document;
        UciError error;
        EXPECT_FALSE(document.parse(row.text, error)) << row.text;
        EXPECT_EQ(error.line, row.line) << row.text << error.text;
    }
}

// A file cut anywhere is refused with a line, or is one that can be edited and read again.
TEST(UciDocument, EveryTruncationIsReadOrRefused) {
    const std::string whole = sample;
    for (size_t length = 0; length <= whole.size(); ++length) {
        UciDocument document;
        UciError error;
        if (!document.parse(whole.substr(0, length), error)) {
            EXPECT_GT(error.line, 0U) << length;
            continue;
        }
        if (document.find("@wifi-iface[-1]") != nullptr &&
            document.set("@wifi-iface[-1]", "x", "'1'")) {
            EXPECT_EQ(parsed(document.text()).value("@wifi-iface[-1]", "x"), "'1'") << length;
        }
    }
}
