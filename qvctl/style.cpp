#include "style.h"

#include "terminal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace qvctl {

namespace {

/// Empty when it is not set, too.
std::string_view environment(const char* variable) {
    const char* const value = getenv(variable);
    return value == nullptr ? "" : value;
}

bool locale_is_utf8() {
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (const std::string_view value = environment(variable); !value.empty()) {
            return value.find("UTF-8") != value.npos || value.find("utf8") != value.npos;
        }
    }
    return false;
}

const char* code_of(Paint paint) {
    switch (paint) {
    case Paint::plain: return "0";
    case Paint::faint: return "2";
    case Paint::bold: return "1";
    case Paint::good: return "32";
    case Paint::fair: return "33";
    case Paint::bad: return "31";
    }
    return "0";
}

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

bool is_number(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789-.") == text.npos;
}

} // namespace

Style Style::of_output(const Options& options) {
    const bool is_terminal = isatty(STDOUT_FILENO) != 0;
    return {.color = is_terminal && !options.no_color && environment("NO_COLOR").empty() &&
                     !is_dumb_terminal(),
            .utf8 = locale_is_utf8(),
            .columns = is_terminal ? screen_size().columns : 0};
}

std::string Style::paint(Paint paint, std::string_view text) const {
    if (!color || paint == Paint::plain) {
        return std::string(text);
    }
    return "\033[" + std::string(code_of(paint)) + "m" + std::string(text) + "\033[0m";
}

std::string Style::bar(double filled, size_t width) const {
    const auto full =
        static_cast<size_t>(std::lround(std::clamp(filled, 0.0, 1.0) * static_cast<double>(width)));
    std::string text;
    for (size_t i = 0; i < width; ++i) {
        text += utf8 ? (i < full ? "█" : "░") : (i < full ? "#" : ".");
    }
    return text;
}

std::string Style::sparkline(std::span<const double> values) const {
    constexpr std::array BLOCKS = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array SIGNS = {"_", ".", ":", "-", "=", "+", "*", "#"};
    std::string text;
    for (const double value : values) {
        const auto level = static_cast<size_t>(std::lround(std::clamp(value, 0.0, 1.0) * 7));
        text += utf8 ? BLOCKS[level] : SIGNS[level];
    }
    return text;
}

std::string printable(std::string_view text) {
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        // U+0080 to U+009F are control characters too; in UTF-8 they begin with C2.
        const bool is_c1 =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (byte >= 0x20 && byte != 0x7F && !is_c1) {
            shown += text[i];
            continue;
        }
        char escaped[8];
        i += is_c1 ? 1 : 0;
        snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(text[i]));
        shown += escaped;
    }
    return shown;
}

size_t columns_of(std::string_view text) {
    return text.size() - static_cast<size_t>(std::ranges::count_if(text, continues_character));
}

std::string fitted(std::string_view text, size_t columns) {
    size_t size = 0;
    size_t used = 0;
    while (size < text.size() && (used < columns || continues_character(text[size]))) {
        used += continues_character(text[size]) ? 0 : 1;
        ++size;
    }
    return std::string(text.substr(0, size)) + std::string(columns - used, ' ');
}

std::string shortened(std::string_view text, size_t columns, const Style& style) {
    const std::string_view mark = style.utf8 ? "…" : "...";
    if (columns_of(text) <= columns) {
        return std::string(text);
    }
    return fitted(text, columns - std::min(columns, columns_of(mark))).append(mark);
}

std::vector<std::string> align(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::string> lines(rows.size());
    for (size_t column = 0; !rows.empty() && column < rows[0].size(); ++column) {
        size_t width = 0;
        bool to_the_right = rows.size() > 1;
        for (size_t row = 0; row < rows.size(); ++row) {
            width = std::max(width, columns_of(rows[row][column]));
            to_the_right = to_the_right && (row == 0 || is_number(rows[row][column]));
        }
        for (size_t row = 0; row < rows.size(); ++row) {
            const std::string& cell = rows[row][column];
            const std::string gap(width - columns_of(cell), ' ');
            lines[row] += (column == 0 ? "" : "  ") + (to_the_right ? gap + cell : cell + gap);
        }
    }
    for (std::string& line : lines) {
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

std::string duration_text(int64_t seconds) {
    struct Unit {
        int64_t size;
        const char* name;
    };
    constexpr Unit UNITS[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};
    for (size_t i = 0; i + 1 < std::size(UNITS); ++i) {
        if (seconds >= UNITS[i].size) {
            const Unit& smaller = UNITS[i + 1];
            return std::to_string(seconds / UNITS[i].size) + " " + UNITS[i].name + " " +
                   std::to_string(seconds % UNITS[i].size / smaller.size) + " " + smaller.name;
        }
    }
    return std::to_string(seconds) + " s";
}

} // namespace qvctl
