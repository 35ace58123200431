// UCI text cut into statements and words. No files, no meaning: quoting, escapes, comments and line
// numbers only.
#ifndef QV_PLATFORM_ZENDRY_COMMON_UCI_READER_H
#define QV_PLATFORM_ZENDRY_COMMON_UCI_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zendry {

/// Why a text is no UCI file. The text is a constant.
struct UciError {
    uint32_t line = 0; ///< from 1
    const char* text = "";
};

/// One statement, as a rule one line. The offsets mark its bytes in the text: begin to end from the
/// first to the last word; after is behind the line end or ';' that closes it, and so behind a
/// comment on its line. An open statement is one that the end of the text closes: whatever is
/// appended belongs to it, also behind a line end, which a backslash may have joined.
struct UciStatement {
    size_t begin = 0;
    size_t end = 0;
    size_t after = 0;
    bool open = false;
    uint32_t line = 0;
    std::vector<std::string> words; ///< quotes and escapes resolved
};

/// Words are parted by blanks. '...' is literal, in "..." and outside quotes a backslash makes the
/// next character literal and joins lines; both quotes may span lines and may stand next to one
/// another within a word. An unquoted '#' begins a comment, an unquoted ';' ends a statement.
class UciReader {
public:
    /// The text must outlive the reader.
    explicit UciReader(std::string_view text) : text_(text) {}

    /// Reads the next statement that has words. False at the end of the text and on an error.
    bool next(UciStatement& statement);

    /// Set when next() ended on something that cannot be read.
    [[nodiscard]] bool failed() const {
        return error_.line != 0;
    }
    [[nodiscard]] const UciError& error() const {
        return error_;
    }

private:
    bool read_word(UciStatement& statement);
    bool read_quoted(std::string& word);
    bool read_escape(std::string& word);
    char take();
    bool fail(uint32_t line, const char* text);

    std::string_view text_;
    size_t at_ = 0;
    uint32_t line_ = 1;
    UciError error_;
};

/// The value as one single-quoted word that reads back exactly.
std::string uci_quoted(std::string_view value);

} // namespace zendry

#endif
