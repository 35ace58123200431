#include "platform/zendry_common/uci_document.h"

#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>

using namespace zendry;

namespace {

// Every form the syntax has, in one file.
constexpr const char* SAMPLE = "# heading\n"
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
        // a last line that is joined to whatever comes next
        {"config t a\n\toption x one\\\n", "z", "1",
         "config t a\n\toption x one\\\n\n\toption z '1'\n"},
        {"config t a\n\\\n", nullptr, nullptr, "config t a\n\\\n\nconfig conf 'broker'\n"},
        // a list gives way to an option, and so do repeated options
        {"config t a\n\tlist x 1\n\toption y 1\n\tlist x 2\n", "x", "2",
         "config t a\n\toption y 1\n\toption x '2'\n"},
        {"config t a\n\tlist x '1\n2' # c\n\toption y 1\n\tlist x 3", "x", nullptr,
         "config t a\n\toption y 1\n"},
        // nothing to do
        {"config t a\noption x \"1\" # c\n", "x", "1", "config t a\noption x \"1\" # c\n"},
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

TEST(UciDocument, AnyValueReadsBackExactly) {
    std::string every_byte = "\n\nconfig x 'y'\n\toption a b # ;''\\";
    for (int c = 1; c < 256; ++c) {
        every_byte.push_back(static_cast<char>(c));
    }
    UciDocument document = parsed(SAMPLE);
    ASSERT_TRUE(document.set("@wifi-iface[1]", "ssid", every_byte));
    const std::tuple<const char*, const char*, std::optional<std::string>> values[] = {
        {"radio0", "channel", "3\"6"},
        {"@wifi-iface[0]", "ssid", "a b'cd\\e f"},
        {"@wifi-iface[-3]", "note", "two\nlines # no comment; no end"},
        {"guest", "ssid", every_byte},
        {"@wifi-iface[2]", "joined", "onetwo"},
        {"@wifi-iface[0]", "maclist", {}},
        {"@wifi-iface[99999999999]", "ssid", {}},
        {"wifi-iface", "ssid", {}},
    };
    for (const auto& [section, option, value] : values) {
        EXPECT_EQ(parsed(document.text()).value(section, option), value) << section;
    }
}

TEST(UciDocument, SaysWhereATextIsMalformed) {
    const std::pair<std::string, uint32_t> rows[] = {
        {"config t a\noption x 'open\n\n", 2},
        {"\noption x 1\n", 2},
        {"config t 'a\nb'\n", 1},
        {"config t a\noption x.y 1\n", 2},
        {"config t a\n# c\n\nconfigure t b\n", 4},
        {"config t a\nconfig u a\n", 2},
        {std::string("config t a\n# \0\n", 14), 2},
    };
    for (const auto& [text, line] : rows) {
        UciDocument document;
        UciError error;
        EXPECT_FALSE(document.parse(text, error)) << text;
        EXPECT_EQ(error.line, line) << text << error.text;
    }
    // A file cut anywhere is refused with a line, or is one that can be edited and read again.
    for (size_t length = 0; length <= strlen(SAMPLE); ++length) {
        UciDocument document;
        UciError error;
        if (!document.parse(std::string(SAMPLE, length), error)) {
            EXPECT_GT(error.line, 0U) << length;
        } else if (document.set("@wifi-iface[-1]", "x", "'1'")) {
            EXPECT_EQ(parsed(document.text()).value("@wifi-iface[-1]", "x"), "'1'") << length;
        }
    }
}
