#include "protocol/record_walk.h"

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
    const char* const printed = qv_json_to_string(value);
    return printed != nullptr && append(text, printed);
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

bool append_mac(printbuf& text, const uint8_t* address) {
    char mac[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(mac, sizeof mac, address);
    return append(text, "\"", std::string_view(mac, MAC_TEXT_LENGTH), "\"");
}

bool append_integer(printbuf& text, int32_t value) {
    char digits[sizeof "-2147483648"];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return append(text, std::string_view(digits, end));
}

bool append_list(printbuf& text, std::span<const std::byte> record, const RecordList& list);

bool append_row(printbuf& text, std::span<const std::byte> record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return append_text(text, qv_record_text(record, field));
    case RecordFieldType::mac: return append_mac(text, qv_record_mac(record, field));
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return append_integer(text, qv_record_integer(record, field));
    case RecordFieldType::list: return append_list(text, record, *field.special->list);
    case RecordFieldType::computed: return append_value(text, field.special->compute(record).get());
    }
    return false;
}

bool is_left_out(std::span<const std::byte> record, const RecordField& field) {
    if (field.type != RecordFieldType::list) {
        return false;
    }
    const RecordList& list = *field.special->list;
    const uint32_t count = qv_list_count(record, list);
    return count > list.shown_max || (count == 0 && !list.shown_empty);
}

/// The members of an object, or the value of a row without key. Ends behind the last that found
/// memory; false when not all did.
bool append_rows(printbuf& text, std::span<const std::byte> record, RecordTable fields) {
    std::string_view before_key = " \"";
    for (const RecordField& field : fields) {
        if (is_left_out(record, field)) {
            continue;
        }
        const int complete = text.bpos;
        if ((field.key != nullptr && !append(text, before_key, field.key_text(), "\": ")) ||
            !append_row(text, record, field)) {
            text.bpos = complete;
            return false;
        }
        before_key = ", \"";
    }
    return true;
}

/// Ends behind the last entry that found memory; false when not all did.
bool append_entries(printbuf& text, std::span<const std::byte> record, const RecordList& list) {
    const bool objects = list.fields[0].key != nullptr;
    std::string_view before_entry = objects ? " {" : " ";
    for (size_t i = 0; i < qv_listed(record, list); ++i) {
        const int complete = text.bpos;
        if (!append(text, before_entry) ||
            !append_rows(text, record.subspan(list.first + i * list.stride, list.stride),
                         list.fields) ||
            (objects && !append(text, " }"))) {
            text.bpos = complete;
            return false;
        }
        before_entry = objects ? ", {" : ", ";
    }
    return true;
}

bool append_list(printbuf& text, std::span<const std::byte> record, const RecordList& list) {
    return append(text, "[") && append_entries(text, record, list) && append(text, " ]");
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

JsonPtr qv_record_to_json(std::span<const std::byte> record, RecordTable fields) {
    PrintbufPtr text(printbuf_new());
    if (text == nullptr || !append(*text, "{")) {
        return nullptr;
    }
    append_rows(*text, record, fields);
    return append(*text, " }") ? new_text_value(std::move(text)) : nullptr;
}

JsonPtr qv_list_to_json(std::span<const std::byte> record, const RecordList& list) {
    PrintbufPtr text(printbuf_new());
    if (text == nullptr || !append(*text, "[")) {
        return nullptr;
    }
    append_entries(*text, record, list);
    return append(*text, " ]") ? new_text_value(std::move(text)) : nullptr;
}
