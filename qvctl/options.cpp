#include "options.h"

#include "words.h"

namespace qvctl {

namespace {

constexpr size_t MAC_DIGITS = 12;
constexpr size_t MAC_CHARACTERS = 17; // with colons

std::string without(std::string text, std::string_view characters) {
    std::erase_if(text, [characters](char character) {
        return characters.find(character) != characters.npos;
    });
    return text;
}

} // namespace

bool Options::names_device() const {
    return device.size() == MAC_CHARACTERS;
}

bool Options::means(const std::string& macaddr) const {
    return names_device() ? macaddr == device : without(macaddr, ":").ends_with(device);
}

std::string normal_device(const std::string& typed) {
    std::string digits = lower_case(without(typed, ":-."));
    if (digits.size() > MAC_DIGITS || !is_hexadecimal(digits)) {
        return "";
    }
    if (digits.size() < MAC_DIGITS) {
        return digits;
    }
    std::string address;
    for (size_t i = 0; i < MAC_DIGITS; i += 2) {
        address.append(i == 0 ? "" : ":").append(digits, i, 2);
    }
    return address;
}

} // namespace qvctl
