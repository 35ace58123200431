// Example of a record of fixed-width texts, from a table of its layout typed by hand.
#ifndef QV_TESTS_UNIT_TEXT_FIELDS_H
#define QV_TESTS_UNIT_TEXT_FIELDS_H

#include "support.h"

#include <span>

struct TextField {
    size_t offset, width;
    std::string key, label;
    TextField(size_t at, size_t size, const char* name, const char* shown = nullptr)
        : offset(at), width(size), key(name), label(shown == nullptr ? name : shown) {}
};

/// Every field is empty, or holds a text of its own that fills it, so that no terminator stands
/// between them.
struct TextFieldsExample {
    Image image;
    std::string members; ///< of the JSON object
    std::string lines;   ///< of the log

    TextFieldsExample(size_t size, std::span<const TextField> fields, bool empty) : image(size) {
        for (const TextField& field : fields) {
            std::string value = std::to_string(field.offset) + field.key;
            value.resize(empty ? 0 : field.width, '.');
            image.text(field.offset, value);
            members += (members.empty() ? "\"" : ", \"") + field.key + "\": \"" + value + "\"";
            lines += field.label + ": " + value + "\n";
        }
    }
};

#endif
