// Example of a record, made from a table of its layout typed by hand.
#ifndef QV_TESTS_UNIT_RECORD_EXAMPLE_H
#define QV_TESTS_UNIT_RECORD_EXAMPLE_H

#include "support.h"

#include <span>

enum class Kind : uint8_t { text, u8, u16, i32, mac, ap_status };

struct Field {
    size_t offset, width;
    Kind kind;
    std::string key, label;
    Field(size_t at, size_t size, const char* name, const char* shown = nullptr)
        : offset(at), width(size), kind(Kind::text), key(name),
          label(shown == nullptr ? name : shown) {}
    Field(size_t at, Kind what, const char* name) : offset(at), width(0), kind(what), key(name) {}
};

/// Nothing; texts and numbers that use every byte, so that neither a wrong width nor a wrong sign
/// passes; the same with texts that leave room for their terminator.
enum class Fill : uint8_t { empty, full, terminated };

/// No two fields have the same value.
struct RecordExample {
    Image image;
    std::string members; ///< of the JSON object
    std::string lines;   ///< of the log, for texts

    RecordExample(size_t size, std::span<const Field> fields, Fill fill) : image(size) {
        for (const Field& field : fields) {
            const std::string value = put(field, fill);
            const bool number =
                field.kind == Kind::u8 || field.kind == Kind::u16 || field.kind == Kind::i32;
            members += (members.empty() ? "\"" : ", \"") + field.key + "\": ";
            members += number ? value : '"' + value + '"';
            lines += field.label + ": " + value + "\n";
        }
    }

private:
    /// Returns the value's text.
    std::string put(const Field& field, Fill fill) {
        const bool empty = fill == Fill::empty;
        const auto place = static_cast<uint32_t>(field.offset);
        const auto number = [&](uint32_t top_bit, size_t width) {
            const uint32_t value = empty ? 0 : top_bit + place % top_bit;
            image.number(field.offset, value, width);
            return value;
        };
        switch (field.kind) {
        case Kind::u8: return std::to_string(number(0x80, 1));
        case Kind::u16: return std::to_string(number(0x8000, 2));
        case Kind::i32: return std::to_string(static_cast<int32_t>(number(0x80000000, 4)));
        case Kind::ap_status:
            image.number(field.offset, empty ? 0 : 1, 1);
            return empty ? "ONLINE" : "OFFLINE";
        case Kind::mac:
            if (empty) {
                return "00:00:00:00:00:00";
            }
            image.bytes(field.offset, {0xa0, 0x0b, 0, 0xff, 1, static_cast<uint8_t>(place % 10)});
            return "a0:0b:00:ff:01:0" + std::to_string(place % 10);
        case Kind::text: break;
        }
        std::string text = std::to_string(field.offset) + field.key;
        text.resize(empty ? 0 : field.width - (fill == Fill::terminated ? 1 : 0), '.');
        image.text(field.offset, text);
        return text;
    }
};

#endif
