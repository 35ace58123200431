// Typed access to JSON members: one pair of operations over one set of type codes, and the
// parser of command texts.
#ifndef QV_JSON_JSON_FIELD_H
#define QV_JSON_JSON_FIELD_H

#include "json/json_scope.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// Type of a field in memory. Reading converts as json-c does (numeric strings count as numbers,
/// out-of-range numbers are clamped to the 32- or 64-bit range); codes narrower than 32 bits keep
/// the low bits of the 32-bit result.
enum FieldType : int32_t {
    FIELD_TYPE_NONE = 0,    ///< nothing; reading only checks that the key exists
    FIELD_TYPE_STRING = 1,  ///< NUL-terminated text
    FIELD_TYPE_BOOL = 2,    ///< int32_t, 0 or 1
    FIELD_TYPE_INT = 3,     ///< int32_t
    FIELD_TYPE_INT8 = 4,    ///< int8_t
    FIELD_TYPE_INT16 = 5,   ///< int16_t
    FIELD_TYPE_INT32 = 6,   ///< int32_t, written only
    FIELD_TYPE_INT64 = 7,   ///< int64_t, written only
    FIELD_TYPE_UINT = 8,    ///< uint32_t, written as the signed number of the same 32 bits
    FIELD_TYPE_UINT8 = 9,   ///< uint8_t
    FIELD_TYPE_UINT16 = 10, ///< uint16_t
    FIELD_TYPE_UINT32 = 11, ///< as FIELD_TYPE_UINT, written only
    FIELD_TYPE_UINT64 = 12, ///< uint64_t, written as the signed number of the same 64 bits
    FIELD_TYPE_DOUBLE = 13, ///< IEEE 754 binary64
};

template <class T>
concept FieldScalar = std::integral<T> || std::same_as<T, double>;

/// Where a field's value is stored: one variable, or a text buffer with its capacity. There is no
/// conversion from a bare character pointer, so a text never comes without its capacity.
class FieldDestination {
public:
    template <FieldScalar T>
    requires(!std::same_as<T, char>) FieldDestination(T* variable)
        : address_(variable), size_(sizeof(T)) {}
    FieldDestination(std::span<char> text)
        : address_(text.data()), size_(text.size()), is_text_(true) {}
    template <size_t N>
    FieldDestination(char (&text)[N]) : FieldDestination(std::span(text)) {}
    /// The bytes of one variable, of any alignment.
    FieldDestination(std::span<std::byte> variable)
        : address_(variable.data()), size_(variable.size()) {}

    void* address() const {
        return address_;
    }
    size_t size() const {
        return size_;
    }
    bool is_text() const {
        return is_text_;
    }

private:
    void* address_;
    size_t size_;
    bool is_text_ = false;
};

/// Text of a value as a command means it: a string as it is, NULs within it included, null as an
/// empty text, anything else as its JSON text. Followed by a NUL; borrowed from the value.
std::string_view qv_json_value_text(json_object* value);

/// Adds the value at `source`, read with the width of the type code, to the object; an existing
/// member of that key is replaced. Returns 1, or 0 with the object unchanged when the code has no
/// value or memory is out.
int32_t map_value_to_json_field(json_object* object, int32_t field_type, const char* field_name,
                                const void* source);

/// Finds the key in the object and stores its value. Returns 1, or 0 after one printed line, with
/// nothing stored: no object, key missing, code not readable, destination of another width than
/// the code's, text that does not fit (qv_text_fits). JSON null stores an empty text or 0.
int32_t map_json_field_to_value(json_object* object, int32_t field_type, const char* field_name,
                                FieldDestination destination);

/// Parses `length` bytes of JSON text (no terminator needed). Characters behind the first complete
/// value are ignored. Returns none after printing json-c's error, or silently when there is no
/// text.
JsonPtr inet_recv_request(const char* text, uint32_t length);

/// The text of "data" -> "general_data" of a command text, as qv_json_value_text gives it.
struct GeneralDataText {
    JsonPtr root; ///< owns the text
    bool present = false;
    std::string_view text; ///< followed by a NUL; may hold NULs; empty when absent
};

/// Parses a NUL-terminated command text, printing what it became.
GeneralDataText qv_json_parse_msg_general_data(const char* text);

enum class GeneralData : uint8_t {
    absent,  ///< no "data" or no "general_data" in it; destination untouched
    stored,  ///< destination holds the text with its NUL
    too_long ///< does not fit (qv_text_fits); destination untouched
};

/// Copies that text with a NUL behind it into the destination. Always returns 0; `outcome`, when
/// given, tells what happened.
int32_t qv_json_parse_msg_get_general_data(std::span<char> destination, const char* text,
                                           uint32_t length, GeneralData* outcome = nullptr);

#endif
