#include "platform/zendry_common/uci_document.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace zendry {
namespace {

enum class Keyword { package, config, option, list };

struct KeywordRow {
    std::string_view text;
    Keyword keyword;
    size_t min_words; ///< the keyword included
    size_t max_words;
};

// A missing value is an empty one.
constexpr KeywordRow KEYWORDS[] = {
    {"package", Keyword::package, 2, 2},
    {"config", Keyword::config, 2, 3},
    {"option", Keyword::option, 2, 3},
    {"list", Keyword::list, 2, 3},
};

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool is_printable(char c) {
    return c > ' ' && c <= '~';
}

bool valid_type(std::string_view type) {
    return !type.empty() && std::all_of(type.begin(), type.end(), is_printable);
}

/// The parts of "@type[n]"; false when the address is none.
bool split_address(std::string_view address, std::string_view& type, int32_t& index) {
    const size_t open = address.rfind('[');
    if (!address.starts_with('@') || !address.ends_with(']') || open == std::string_view::npos) {
        return false;
    }
    type = address.substr(1, open - 1);
    const char* const last = address.data() + address.size() - 1;
    const auto [end, error] = std::from_chars(address.data() + open + 1, last, index);
    return error == std::errc() && end == last;
}

/// Takes one statement out of the text: with its line when it stands first on it, otherwise leaving
/// the line end.
void erase_statement(std::string& text, const UciEntry& entry) {
    size_t begin = entry.begin;
    while (begin > 0 && (text[begin - 1] == ' ' || text[begin - 1] == '\t')) {
        --begin;
    }
    size_t end = entry.after;
    if (begin > 0 && text[begin - 1] != '\n' && text[end - 1] == '\n') {
        --end;
    }
    text.erase(begin, end - begin);
}

std::string option_statement(std::string_view option, std::string_view value) {
    return "option " + std::string(option) + " " + uci_quoted(value);
}

} // namespace

bool uci_valid_name(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), is_name_character);
}

bool uci_valid_package(std::string_view package) {
    return !package.empty() && std::all_of(package.begin(), package.end(),
                                           [](char c) { return is_name_character(c) || c == '-'; });
}

bool UciDocument::parse(std::string text, UciError& error) {
    if (const size_t nul = text.find('\0'); nul != std::string::npos) {
        const auto lines =
            std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(nul), '\n');
        error = {static_cast<uint32_t>(lines) + 1, "NUL byte"};
        return false;
    }
    UciDocument fresh;
    UciReader reader(text);
    UciStatement statement;
    while (reader.next(statement)) {
        if (const char* problem = fresh.interpret(statement); problem != nullptr) {
            error = {statement.line, problem};
            return false;
        }
    }
    if (reader.failed()) {
        error = reader.error();
        return false;
    }
    fresh.text_ = std::move(text);
    *this = std::move(fresh);
    return true;
}

/// Returns the reason why the statement has no place here, or null.
const char* UciDocument::interpret(const UciStatement& statement) {
    const size_t count = statement.words.size();
    for (const KeywordRow& row : KEYWORDS) {
        if (row.text != statement.words[0]) {
            continue;
        }
        if (count < row.min_words || count > row.max_words) {
            return "wrong number of words";
        }
        switch (row.keyword) {
        case Keyword::package: return nullptr; // the file's name is what counts
        case Keyword::config: return begin_section(statement);
        case Keyword::option: return add_entry(statement, false);
        case Keyword::list: return add_entry(statement, true);
        }
    }
    return "unknown keyword";
}

const char* UciDocument::begin_section(const UciStatement& statement) {
    const std::string& type = statement.words[1];
    const std::string name = statement.words.size() > 2 ? statement.words[2] : "";
    if (!valid_type(type)) {
        return "section type not valid";
    }
    if (!name.empty() && !uci_valid_name(name)) {
        return "section name not valid";
    }
    const auto same = std::find_if(sections_.begin(), sections_.end(), [&](const UciSection& s) {
        return !name.empty() && s.name == name;
    });
    if (same != sections_.end() && same->type != type) {
        return "section name used by another type";
    }
    current_ = static_cast<size_t>(same - sections_.begin());
    if (same == sections_.end()) {
        sections_.push_back({type, name, 0, false, {}});
    }
    sections_[current_].after = statement.after;
    sections_[current_].open = statement.open;
    return nullptr;
}

const char* UciDocument::add_entry(const UciStatement& statement, bool is_list) {
    if (current_ >= sections_.size()) {
        return "option outside a section";
    }
    if (!uci_valid_name(statement.words[1])) {
        return "option name not valid";
    }
    UciSection& section = sections_[current_];
    section.after = statement.after;
    section.open = statement.open;
    section.entries.push_back({is_list, statement.words[1],
                               statement.words.size() > 2 ? statement.words[2] : "",
                               statement.begin, statement.end, statement.after});
    return nullptr;
}

const UciSection* UciDocument::find(std::string_view address) const {
    std::string_view type;
    int32_t index = 0;
    if (!split_address(address, type, index)) {
        const auto found =
            std::find_if(sections_.begin(), sections_.end(),
                         [&](const UciSection& s) { return !s.name.empty() && s.name == address; });
        return found != sections_.end() ? &*found : nullptr;
    }
    int64_t wanted = index;
    if (wanted < 0) {
        wanted += std::count_if(sections_.begin(), sections_.end(),
                                [&](const UciSection& s) { return s.type == type; });
    }
    for (const UciSection& section : sections_) {
        if (section.type == type && wanted-- == 0) {
            return &section;
        }
    }
    return nullptr;
}

std::optional<std::string_view> UciDocument::value(std::string_view address,
                                                   std::string_view option) const {
    const UciSection* section = find(address);
    if (section == nullptr) {
        return std::nullopt;
    }
    // Of several statements the last one counts.
    const auto last = std::find_if(section->entries.rbegin(), section->entries.rend(),
                                   [&](const UciEntry& e) { return e.name == option; });
    if (last == section->entries.rend() || last->is_list) {
        return std::nullopt;
    }
    return last->value;
}

bool UciDocument::adopt(std::string text) {
    UciError unused;
    return text.size() <= UCI_MAX_SIZE && parse(std::move(text), unused);
}

bool UciDocument::set(std::string_view address, std::string_view option, std::string_view value) {
    const UciSection* section = find(address);
    if (section == nullptr || !uci_valid_name(option)) {
        return false;
    }
    if (this->value(address, option) == value) {
        return true;
    }
    const std::string statement = option_statement(option, value);
    std::string text = text_;
    bool placed = false;
    // From the back, so that the offsets of what is still to come hold.
    for (auto entry = section->entries.rbegin(); entry != section->entries.rend(); ++entry) {
        if (entry->name != option) {
            continue;
        }
        if (placed) {
            erase_statement(text, *entry);
        } else {
            text.replace(entry->begin, entry->end - entry->begin, statement);
            placed = true;
        }
    }
    if (!placed) {
        const bool fresh_line = !section->open && text[section->after - 1] == '\n';
        text.insert(section->after, (fresh_line ? "\t" : "\n\t") + statement + "\n");
    }
    return adopt(std::move(text));
}

bool UciDocument::remove(std::string_view address, std::string_view option) {
    const UciSection* section = find(address);
    if (section == nullptr) {
        return false;
    }
    std::string text = text_;
    for (auto entry = section->entries.rbegin(); entry != section->entries.rend(); ++entry) {
        if (entry->name == option) {
            erase_statement(text, *entry);
        }
    }
    return text.size() != text_.size() && adopt(std::move(text));
}

bool UciDocument::add_section(std::string_view type, std::string_view name) {
    if (!uci_valid_package(type) || !uci_valid_name(name)) {
        return false; // other types would need quoting; nobody adds such
    }
    if (const UciSection* section = find(name); section != nullptr) {
        return section->type == type;
    }
    std::string text = text_;
    if (!text.empty()) {
        text += text.back() == '\n' ? "\n" : "\n\n";
    }
    text += "config " + std::string(type) + " " + uci_quoted(name) + "\n";
    return adopt(std::move(text));
}

} // namespace zendry
