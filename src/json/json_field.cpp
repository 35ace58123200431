#include "json/json_field.h"

#include "json/text.h"
#include "platform/log.h"

#include <climits>
#include <cstring>

namespace {

template <class T>
T load(const void* source) {
    T value;
    memcpy(&value, source, sizeof value);
    return value;
}

/// json_object_new_int of a narrower or unsigned value: the same bits, sign- or zero-extended.
template <class T>
json_object* new_int(const void* source) {
    return json_object_new_int(static_cast<int32_t>(load<T>(source)));
}

json_object* new_value(int32_t field_type, const void* source) {
    switch (static_cast<FieldType>(field_type)) {
    case FIELD_TYPE_NONE: return nullptr;
    case FIELD_TYPE_STRING: return json_object_new_string(static_cast<const char*>(source));
    case FIELD_TYPE_BOOL: return json_object_new_boolean(load<int32_t>(source));
    case FIELD_TYPE_INT:
    case FIELD_TYPE_INT32: return new_int<int32_t>(source);
    case FIELD_TYPE_INT8: return new_int<int8_t>(source);
    case FIELD_TYPE_INT16: return new_int<int16_t>(source);
    case FIELD_TYPE_UINT:
    case FIELD_TYPE_UINT32: return new_int<uint32_t>(source);
    case FIELD_TYPE_UINT8: return new_int<uint8_t>(source);
    case FIELD_TYPE_UINT16: return new_int<uint16_t>(source);
    case FIELD_TYPE_INT64:
    case FIELD_TYPE_UINT64: return json_object_new_int64(load<int64_t>(source));
    case FIELD_TYPE_DOUBLE: return json_object_new_double(load<double>(source));
    }
    return nullptr;
}

bool store_text(std::span<char> destination, std::string_view text) {
    if (!qv_text_fits(text, destination.size())) {
        return false;
    }
    memcpy(destination.data(), text.data(), text.size());
    destination[text.size()] = '\0';
    return true;
}

int32_t unknown_type(int32_t field_type) {
    qv_log("map_json_field_to_value(): unknown field_type %d\n", field_type);
    return 0;
}

int32_t wrong_width(int32_t field_type, FieldDestination destination) {
    qv_log("map_json_field_to_value(): field_type %d does not go into %zu bytes\n", field_type,
           destination.size());
    return 0;
}

template <class T>
int32_t store(int32_t field_type, FieldDestination destination, T value) {
    if (destination.is_text() || destination.size() != sizeof value) {
        return wrong_width(field_type, destination);
    }
    memcpy(destination.address(), &value, sizeof value);
    return 1;
}

int32_t store_text_field(const char* field_name, FieldDestination destination, json_object* value) {
    if (!destination.is_text() || destination.size() == 0) {
        return wrong_width(FIELD_TYPE_STRING, destination);
    }
    const std::span<char> text(static_cast<char*>(destination.address()), destination.size());
    if (!store_text(text, qv_json_value_text(value))) {
        qv_log("map_json_field_to_value(): field_name %s longer than %zu bytes\n", field_name,
               text.size() - 1);
        return 0;
    }
    return 1;
}

int32_t store_field(int32_t field_type, const char* field_name, FieldDestination destination,
                    json_object* value) {
    const auto number = [=](auto converted) { return store(field_type, destination, converted); };
    switch (static_cast<FieldType>(field_type)) {
    case FIELD_TYPE_NONE: return 1;
    case FIELD_TYPE_STRING: return store_text_field(field_name, destination, value);
    case FIELD_TYPE_BOOL: return number(static_cast<int32_t>(json_object_get_boolean(value)));
    case FIELD_TYPE_INT:
    case FIELD_TYPE_UINT: return number(json_object_get_int(value));
    case FIELD_TYPE_INT8:
    case FIELD_TYPE_UINT8: return number(static_cast<uint8_t>(json_object_get_int(value)));
    case FIELD_TYPE_INT16:
    case FIELD_TYPE_UINT16: return number(static_cast<uint16_t>(json_object_get_int(value)));
    case FIELD_TYPE_UINT64: return number(json_object_get_int64(value));
    case FIELD_TYPE_DOUBLE: return number(json_object_get_double(value));
    case FIELD_TYPE_INT32:
    case FIELD_TYPE_INT64:
    case FIELD_TYPE_UINT32: break;
    }
    return unknown_type(field_type);
}

struct TokenerDeleter {
    void operator()(json_tokener* tokener) const {
        json_tokener_free(tokener);
    }
};
using TokenerPtr = std::unique_ptr<json_tokener, TokenerDeleter>;

} // namespace

std::string_view qv_json_value_text(json_object* value) {
    const char* const text = json_object_get_string(value);
    if (text == nullptr) {
        return "";
    }
    return json_object_is_type(value, json_type_string) != 0
               ? std::string_view(text, static_cast<size_t>(json_object_get_string_len(value)))
               : text;
}

int32_t map_value_to_json_field(json_object* object, int32_t field_type, const char* field_name,
                                const void* source) {
    return qv_json_add(object, field_name, JsonPtr(new_value(field_type, source))) ? 1 : 0;
}

int32_t map_json_field_to_value(json_object* object, int32_t field_type, const char* field_name,
                                FieldDestination destination) {
    if (object == nullptr) {
        qv_log("map_json_field_to_value(): NULL jobj\n");
        return 0;
    }
    json_object* value = nullptr;
    if (json_object_is_type(object, json_type_object) == 0 ||
        json_object_object_get_ex(object, field_name, &value) == 0) {
        qv_log("map_json_field_to_value(): field_name %s not found\n", field_name);
        return 0;
    }
    return store_field(field_type, field_name, destination, value);
}

JsonPtr inet_recv_request(const char* text, uint32_t length) {
    if (text == nullptr) {
        return nullptr;
    }
    const TokenerPtr tokener(json_tokener_new());
    if (tokener == nullptr || length > INT_MAX) {
        return nullptr;
    }
    JsonPtr root(json_tokener_parse_ex(tokener.get(), text, static_cast<int>(length)));
    const json_tokener_error error = json_tokener_get_error(tokener.get());
    if (error != json_tokener_success) {
        qv_log("inet_recv_request() json parse error, %s\n", json_tokener_error_desc(error));
        return nullptr;
    }
    return root;
}

GeneralDataText qv_json_parse_msg_general_data(const char* text) {
    GeneralDataText result{.root = JsonPtr(json_tokener_parse(text)), .text = ""};
    qv_log("Parsed JSON object: %s\n", json_object_to_json_string(result.root.get()));
    json_object* const data = qv_json_member(result.root.get(), "data");
    json_object* value = nullptr;
    if (json_object_is_type(data, json_type_object) != 0 &&
        json_object_object_get_ex(data, "general_data", &value) != 0) {
        result.present = true;
        result.text = qv_json_value_text(value);
    }
    return result;
}

int32_t qv_json_parse_msg_get_general_data(std::span<char> destination, const char* text,
                                           uint32_t /*length*/, GeneralData* outcome) {
    const GeneralDataText data = qv_json_parse_msg_general_data(text);
    GeneralData result = GeneralData::absent;
    if (data.present) {
        result = store_text(destination, data.text) ? GeneralData::stored : GeneralData::too_long;
    }
    if (outcome != nullptr) {
        *outcome = result;
    }
    return 0;
}
