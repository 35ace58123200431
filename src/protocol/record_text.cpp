#include "protocol/record_text.h"

#include "protocol/record_fields.h"
#include "json/mac_text.h"
#include "json/text.h"

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstring>
#include <json-c/printbuf.h>
#include <string_view>

namespace {

struct PrintbufDeleter {
    void operator()(printbuf* text) const {
        printbuf_free(text);
    }
};
using PrintbufPtr = std::unique_ptr<printbuf, PrintbufDeleter>;

// All of these return false when memory is out.

/// Appends the parts: with one look at the room for all of them, because this is where the time of
/// a long report goes.
template <std::convertible_to<std::string_view>... Parts>
bool append(printbuf& text, const Parts&... parts) {
    const auto put = [&text](std::string_view part) {
        memcpy(text.buf + text.bpos, part.data(), part.size());
        text.bpos += static_cast<int>(part.size());
    };
    const size_t size = (std::string_view(parts).size() + ...);
    if (size >= static_cast<size_t>(text.size - text.bpos)) {
        const auto grow = [&text](std::string_view part) {
            return printbuf_memappend(&text, part.data(), static_cast<int>(part.size())) >= 0;
        };
        return (grow(parts) && ...);
    }
    (put(parts), ...);
    text.buf[text.bpos] = '\0';
    return true;
}

bool append_value(printbuf& text, json_object* value) {
    size_t length = 0;
    const char* const printed =
        json_object_to_json_string_length(value, JSON_C_TO_STRING_SPACED, &length);
    return value != nullptr && printed != nullptr &&
           append(text, std::string_view(printed, length));
}

/// Whether json-c prints the text as it is: ASCII without anything to escape.
bool is_plain(std::string_view text) {
    return std::ranges::all_of(text, [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\' &&
               character != '/';
    });
}

bool append_text(printbuf& text, std::string_view value) {
    return is_plain(value) ? append(text, "\"", value, "\"")
                           : append_value(text, qv_json_new_text(value).get());
}

bool append_mac(printbuf& text, std::span<const std::byte> record, const RecordField& field) {
    char mac[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(mac, sizeof mac, qv_record_mac(record, field));
    return append(text, "\"", std::string_view(mac, MAC_TEXT_LENGTH), "\"");
}

bool append_integer(printbuf& text, int32_t value) {
    char digits[sizeof "-2147483648"];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return append(text, std::string_view(digits, end));
}

bool append_member(printbuf& text, std::span<const std::byte> record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text: return append_text(text, qv_record_text(record, field));
    case RecordFieldType::mac: return append_mac(text, record, field);
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return append_integer(text, qv_record_integer(record, field));
    case RecordFieldType::computed: return append_value(text, field.compute(record).get());
    }
    return false;
}

bool append_object(printbuf& text, std::span<const std::byte> record,
                   std::span<const RecordField> fields) {
    std::string_view before_key = "{ \"";
    for (const RecordField& field : fields) {
        if (!append(text, before_key, field.key, "\": ") || !append_member(text, record, field)) {
            return false;
        }
        before_key = ", \"";
    }
    return append(text, " }");
}

int print(json_object* value, printbuf* destination, int /*level*/, int /*flags*/) {
    const auto& text = *static_cast<const printbuf*>(json_object_get_userdata(value));
    return printbuf_memappend(destination, text.buf, text.bpos);
}

void release(json_object* /*value*/, void* text) {
    printbuf_free(static_cast<printbuf*>(text));
}

/// A value of which only the text exists, or none.
JsonPtr new_text_value(PrintbufPtr text) {
    JsonPtr value(json_object_new_boolean(0)); // the smallest there is
    if (value != nullptr) {
        json_object_set_serializer(value.get(), print, text.release(), release);
    }
    return value;
}

} // namespace

int32_t qv_append_record_text(json_object* array, std::span<const std::byte> entries,
                              size_t entry_size, std::span<const RecordField> fields) {
    PrintbufPtr text(printbuf_new());
    int32_t appended = 0;
    for (; text != nullptr && !entries.empty(); entries = entries.subspan(entry_size)) {
        const int complete = text->bpos;
        if ((appended > 0 && !append(*text, ", ")) ||
            !append_object(*text, entries.first(entry_size), fields)) {
            text->bpos = complete;
            break;
        }
        ++appended;
    }
    return appended > 0 && qv_json_append(array, new_text_value(std::move(text))) ? appended : 0;
}
