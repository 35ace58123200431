// One UCI package as text, with the sections and options found in it. Edits splice the text at the
// statement they concern; every other byte, comments and order included, stays as it was.
#ifndef QV_PLATFORM_ZENDRY_COMMON_UCI_DOCUMENT_H
#define QV_PLATFORM_ZENDRY_COMMON_UCI_DOCUMENT_H

#include "platform/zendry_common/uci_reader.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zendry {

/// Largest package in bytes. A device's packages are a few KiB; this bounds what is read in.
constexpr size_t UCI_MAX_SIZE = 1024UL * 1024UL;

/// Letters, digits and '_'; a package may have '-' besides. Neither can name another folder.
bool uci_valid_name(std::string_view name);
bool uci_valid_package(std::string_view package);

/// An `option` or `list` statement. Offsets as in UciStatement.
struct UciEntry {
    bool is_list = false;
    std::string name;
    std::string value;
    size_t begin = 0;
    size_t end = 0;
    size_t after = 0;
};

/// A section; blocks of one name in the file are one section.
struct UciSection {
    std::string type;
    std::string name;  ///< empty: anonymous
    size_t after = 0;  ///< offset behind its last statement
    bool open = false; ///< that statement is one, as in UciStatement
    std::vector<UciEntry> entries;
};

class UciDocument {
public:
    /// Takes over the text and returns true, or says why not and stays as it was.
    bool parse(std::string text, UciError& error);

    [[nodiscard]] const std::string& text() const {
        return text_;
    }

    /// Section by name or as "@type[n]"; n counts from 0, negative from the end (-1 the last).
    [[nodiscard]] const UciSection* find(std::string_view address) const;

    /// Value of an option. None when the section has no such option or has a list of that name.
    [[nodiscard]] std::optional<std::string_view> value(std::string_view address,
                                                        std::string_view option) const;

    // The edits return false, with the text unchanged, when the section is not there, a name is not
    // valid or the text would grow over UCI_MAX_SIZE.

    /// Sets an option; a list of the same name gives way to it.
    bool set(std::string_view address, std::string_view option, std::string_view value);

    /// Deletes an option or the whole list of that name; false when there is none.
    bool remove(std::string_view address, std::string_view option);

    /// Adds a named section unless it is there; false when another type has the name.
    bool add_section(std::string_view type, std::string_view name);

private:
    const char* interpret(const UciStatement& statement);
    const char* begin_section(const UciStatement& statement);
    const char* add_entry(const UciStatement& statement, bool is_list);
    bool adopt(std::string text);

    std::string text_;
    std::vector<UciSection> sections_;
    size_t current_ = 0; ///< section that statements being parsed belong to; none: the size
};

} // namespace zendry

#endif
