// Example of a record, made from a layout typed by hand.
#ifndef QV_TESTS_UNIT_RECORD_EXAMPLE_H
#define QV_TESTS_UNIT_RECORD_EXAMPLE_H

#include "support.h"

#include <sstream>

/// Nothing; texts and numbers that use every byte, so that neither a wrong width nor a wrong sign
/// passes; the same with texts that leave room for their terminator.
enum class Fill : uint8_t { empty, full, terminated };

/// No two fields have the same value. A layout has "offset kind key" for each field, in the order
/// of the JSON object, with semicolons between them. The kind is u8, u16, i32, mac, ap_status, or
/// the width of a text. "key=label" when the log names it so; "key=" when it does not show it.
struct RecordExample {
    Image image;
    std::string members; ///< of the JSON object
    std::string lines;   ///< of the log

    RecordExample(size_t size, const std::string& layout, Fill fill)
        : image(size), empty_(fill == Fill::empty), terminated_(fill == Fill::terminated) {
        std::istringstream fields(layout);
        for (std::string field; std::getline(fields, field, ';');) {
            std::istringstream words(field);
            size_t offset = 0;
            std::string kind;
            std::string name;
            std::getline(words >> offset >> kind >> std::ws, name);
            const std::string key = name.substr(0, name.find('='));
            const std::string label = key == name ? key : name.substr(key.size() + 1);
            const std::string value = put(offset, kind, key);
            const bool is_number = kind[0] == 'u' || kind[0] == 'i';
            members += (members.empty() ? "\"" : ", \"") + key + "\": ";
            members += is_number ? value : '"' + value + '"';
            lines += label.empty() ? "" : label + ": " + value + "\n";
        }
    }

private:
    std::string put_number(size_t offset, uint32_t top_bit, size_t width) {
        const uint32_t value = empty_ ? 0 : top_bit + static_cast<uint32_t>(offset) % top_bit;
        image.number(offset, value, width);
        return std::to_string(width < 4 ? static_cast<int64_t>(value)
                                        : static_cast<int32_t>(value));
    }
    /// Returns the value's text.
    std::string put(size_t offset, const std::string& kind, const std::string& key) {
        if (kind == "u8") {
            return put_number(offset, 0x80, 1);
        }
        if (kind == "u16") {
            return put_number(offset, 0x8000, 2);
        }
        if (kind == "i32") {
            return put_number(offset, 0x80000000, 4);
        }
        if (kind == "ap_status") {
            image.number(offset, empty_ ? 0 : 1, 1);
            return empty_ ? "ONLINE" : "OFFLINE";
        }
        if (kind == "mac") {
            const auto last = static_cast<uint8_t>(offset % 10);
            image.bytes(offset, empty_ ? Bytes(6) : Bytes{0xa0, 0x0b, 0, 0xff, 1, last});
            return empty_ ? "00:00:00:00:00:00" : "a0:0b:00:ff:01:0" + std::to_string(last);
        }
        std::string text = std::to_string(offset) + key;
        text.resize(empty_ ? 0 : std::stoul(kind) - (terminated_ ? 1 : 0), '.');
        image.text(offset, text);
        return text;
    }

    bool empty_, terminated_;
};

#endif
