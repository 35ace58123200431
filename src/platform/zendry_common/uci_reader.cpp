#include "platform/zendry_common/uci_reader.h"

namespace zendry {
namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool ends_word(char c) {
    return is_blank(c) || c == '\n' || c == ';' || c == '#';
}

} // namespace

bool UciReader::fail(uint32_t line, const char* text) {
    error_ = {line, text};
    return false;
}

char UciReader::take() {
    const char c = text_[at_++];
    if (c == '\n') {
        ++line_;
    }
    return c;
}

bool UciReader::next(UciStatement& statement) {
    statement.words.clear();
    statement.open = true;
    while (at_ < text_.size()) {
        const char c = text_[at_];
        if (!ends_word(c)) {
            if (!read_word(statement)) {
                return false;
            }
            continue;
        }
        if (c == '#') {
            const size_t end = text_.find('\n', at_);
            at_ = end == std::string_view::npos ? text_.size() : end;
            continue;
        }
        take();
        if (!is_blank(c) && !statement.words.empty()) {
            statement.open = false;
            break;
        }
    }
    statement.after = at_;
    return !statement.words.empty();
}

bool UciReader::read_word(UciStatement& statement) {
    const size_t begin = at_;
    const uint32_t line = line_;
    std::string word;
    bool quoted = false; // an empty word is one only between quotes
    while (at_ < text_.size() && !ends_word(text_[at_])) {
        const char c = text_[at_];
        if (c == '\'' || c == '"') {
            quoted = true;
            if (!read_quoted(word)) {
                return false;
            }
        } else if (c == '\\') {
            if (!read_escape(word)) {
                return false;
            }
        } else {
            word.push_back(take());
        }
    }
    if (quoted || !word.empty()) {
        if (statement.words.empty()) {
            statement.begin = begin;
            statement.line = line;
        }
        statement.end = at_;
        statement.words.push_back(std::move(word));
    }
    return true;
}

bool UciReader::read_quoted(std::string& word) {
    const uint32_t line = line_;
    const char quote = take();
    while (at_ < text_.size()) {
        if (text_[at_] == '\\' && quote == '"') {
            if (!read_escape(word)) {
                return false;
            }
            continue;
        }
        const char c = take();
        if (c == quote) {
            return true;
        }
        word.push_back(c);
    }
    return fail(line, "quote not closed");
}

bool UciReader::read_escape(std::string& word) {
    const uint32_t line = line_;
    take();
    if (at_ == text_.size()) {
        return fail(line, "backslash at the end of the file");
    }
    const char c = take();
    if (c != '\n') {
        word.push_back(c);
    }
    return true;
}

std::string uci_quoted(std::string_view value) {
    std::string result = "'";
    for (const char c : value) {
        if (c == '\'') {
            result += "'\\''"; // nothing can be escaped inside, so the quotes pause for it
        } else {
            result.push_back(c);
        }
    }
    result.push_back('\'');
    return result;
}

} // namespace zendry
