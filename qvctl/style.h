// What the terminal can show: colour, UTF-8, columns; and text that is safe to show on it.
#ifndef QVCTL_STYLE_H
#define QVCTL_STYLE_H

#include "options.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvctl {

enum class Paint { plain, faint, bold, good, fair, bad };

struct Style {
    bool color = false;
    bool utf8 = false;
    size_t columns = 0; ///< of the terminal; 0: as many as it takes, where there is none

    /// For standard output, from the options and the environment: NO_COLOR, TERM, LC_ALL,
    /// LC_CTYPE, LANG.
    static Style of_output(const Options& options);

    std::string paint(Paint paint, std::string_view text) const;
    /// A bar of that many columns, filled from 0 to 1.
    std::string bar(double filled, size_t width) const;
    /// One column per value, from 0 to 1.
    std::string sparkline(std::span<const double> values) const;
};

/// The text on one line: control characters become \xNN, so that no device can drive the
/// terminal by a name that it reports.
std::string printable(std::string_view text);

/// Columns that a printable UTF-8 text takes, one per character.
size_t columns_of(std::string_view text);

/// Cut or filled with blanks to exactly that many columns.
std::string fitted(std::string_view text, size_t columns);

/// The text, or its beginning and a mark that there is more, in at most that many columns.
std::string shortened(std::string_view text, size_t columns, const Style& style);

/// Rows of cells as aligned lines; the first row is the heading. A column whose cells below the
/// heading are all numbers is set to the right. Without a row, no line.
std::vector<std::string> align(const std::vector<std::vector<std::string>>& rows);

/// "3 d 4 h", "5 h 6 min", "7 min 8 s".
std::string duration_text(int64_t seconds);

} // namespace qvctl

#endif
