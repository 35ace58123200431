// Lines of a screen.
#ifndef QVCTL_SCREEN_LINES_H
#define QVCTL_SCREEN_LINES_H

#include "style.h"
#include "terminal.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvctl {

/// Collects lines that fit the screen.
class Lines {
public:
    Lines(const ScreenSize& size, const Style& style) : size_(size), style_(style) {}

    size_t left() const {
        return size_.lines > lines_.size() ? size_.lines - lines_.size() : 0;
    }
    /// A line and, at its end, a drawing of that many columns.
    void add(std::string_view text, Paint paint = Paint::plain, std::string_view drawing = "",
             size_t drawing_columns = 0, Paint drawing_paint = Paint::plain) {
        if (left() == 0) {
            return;
        }
        const size_t columns = size_.columns - std::min(size_.columns, drawing_columns);
        std::string line = fitted(text, std::min(columns, columns_of(text)));
        line = style_.paint(paint, line);
        lines_.push_back(line + style_.paint(drawing_paint, drawing));
    }
    std::vector<std::string> take() {
        return std::move(lines_);
    }

private:
    ScreenSize size_;
    const Style& style_;
    std::vector<std::string> lines_;
};

} // namespace qvctl

#endif
