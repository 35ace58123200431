#include "json/json_text.h"
#include "protocol/record_walk.h"

namespace {

using Bytes = std::span<const std::byte>;

bool is_left_out(Bytes record, const RecordField& field) {
    if (field.type != RecordFieldType::list) {
        return false;
    }
    const RecordList& list = *field.special->list;
    const uint32_t count = qv_list_count(record, list);
    return count > list.shown_max || (count == 0 && !list.shown_empty);
}

/// As wide as it is: who writes it ends at the NUL.
std::string_view whole_field(Bytes record, const RecordField& field) {
    const Bytes bytes = record.subspan(field.offset, field.width);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

char* put_value(char* out, Bytes record, const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return qv_put_text(out, whole_field(record, field));
    case RecordFieldType::mac: return qv_put_mac(out, qv_record_mac(record, field));
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32: return qv_put_integer(out, qv_record_integer(record, field));
    case RecordFieldType::list: return qv_put_list(out, record, *field.special->list);
    case RecordFieldType::computed:
        return qv_put_text(out, field.special->compute(record).substr(0, COMPUTED_TEXT_MAX));
    }
    return out;
}

size_t list_room(const RecordList& list, size_t entries);

size_t value_room(const RecordField& field) {
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return qv_json_text_room(field.width);
    case RecordFieldType::mac: return JSON_MAC_SIZE;
    case RecordFieldType::u8: return JSON_INTEGER_SIZE<uint8_t>;
    case RecordFieldType::u16: return JSON_INTEGER_SIZE<uint16_t>;
    case RecordFieldType::i32: return JSON_INTEGER_SIZE<int32_t>;
    case RecordFieldType::list: return list_room(*field.special->list, field.special->list->room);
    case RecordFieldType::computed: return qv_json_text_room(COMPUTED_TEXT_MAX);
    }
    return 0;
}

// json-c has a blank behind every comma and inside the brackets. So every member and every entry
// begins with a comma, and the opening bracket takes the first one's place.

constexpr std::string_view BEFORE_ENTRY = ", ", BEFORE_KEY = ", \"", BEHIND_KEY = "\": ";
constexpr size_t ENCLOSED = 3; ///< bytes that the brackets add, at most

char* put_key(char* out, const RecordField& field) {
    out = qv_put(out, BEFORE_KEY);
    memcpy(out, field.key, sizeof field.key); // one size for all is quicker than the right one
    return qv_put(out + field.key_length, BEHIND_KEY);
}

char* enclose(char* begin, char* end, char opening, char closing) {
    if (end == begin) {
        ++end;
    }
    *begin = opening;
    *end++ = ' ';
    *end++ = closing;
    return end;
}

size_t list_room(const RecordList& list, size_t entries) {
    return ENCLOSED + entries * (BEFORE_ENTRY.size() + qv_record_room(list.fields));
}

} // namespace

size_t qv_record_room(RecordTable fields) {
    size_t room = ENCLOSED;
    for (const RecordField& field : fields) {
        room += BEFORE_KEY.size() + field.key_length + BEHIND_KEY.size() + value_room(field);
    }
    return room;
}

size_t qv_list_room(std::span<const std::byte> record, const RecordList& list) {
    return list_room(list, qv_listed(record, list));
}

char* qv_put_record(char* out, std::span<const std::byte> record, RecordTable fields) {
    if (!fields[0].has_key()) {
        return put_value(out, record, fields[0]);
    }
    char* end = out;
    for (const RecordField& field : fields) {
        if (!is_left_out(record, field)) {
            end = put_value(put_key(end, field), record, field);
        }
    }
    return enclose(out, end, '{', '}');
}

char* qv_put_list(char* out, std::span<const std::byte> record, const RecordList& list) {
    char* end = out;
    const size_t entries = qv_listed(record, list);
    for (size_t i = 0; i < entries; ++i) {
        end = qv_put_record(qv_put(end, BEFORE_ENTRY),
                            record.subspan(list.first + i * list.stride, list.stride), list.fields);
    }
    return enclose(out, end, '[', ']');
}
