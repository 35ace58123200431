// What the compiler checks of every table.
#ifndef QV_PROTOCOL_RECORD_CHECKS_H
#define QV_PROTOCOL_RECORD_CHECKS_H

#include "protocol/record_fields.h"

#include <algorithm>
#include <string_view>

consteval bool qv_fields_fit(RecordTable fields, size_t record_size);

consteval bool qv_list_fits(const RecordList& list, size_t record_size) {
    return !list.fields.empty() && list.room > 0 &&
           size_t{list.first} + size_t{list.stride} * list.room <= record_size &&
           size_t{list.count_offset} + list.count_width <= record_size &&
           qv_fields_fit(list.fields, list.stride);
}

/// Whether a row is as wide as its type, lies within the record, and has what its type needs.
consteval bool qv_field_fits(const RecordField& field, size_t record_size) {
    const bool has_text = field.type == RecordFieldType::text ||
                          field.type == RecordFieldType::terminated_text ||
                          field.type == RecordFieldType::computed;
    if (size_t{field.offset} + field.width > record_size || (field.logged && !has_text) ||
        (field.print_when_set && !field.logged)) {
        return false;
    }
    switch (field.type) {
    case RecordFieldType::text: return field.width > 0;
    case RecordFieldType::terminated_text: return field.width > 1;
    case RecordFieldType::mac: return field.width == 6;
    case RecordFieldType::u8: return field.width == 1;
    case RecordFieldType::u16: return field.width == 2;
    case RecordFieldType::i32: return field.width == 4;
    case RecordFieldType::list:
        return field.special != nullptr && field.special->list != nullptr &&
               qv_list_fits(*field.special->list, record_size);
    case RecordFieldType::computed:
        return field.special != nullptr && field.special->compute != nullptr;
    }
    return false;
}

consteval bool qv_fields_overlap(const RecordField& one, const RecordField& other) {
    const bool lists = one.type == RecordFieldType::list || other.type == RecordFieldType::list;
    return !lists && one.offset < other.offset + other.width &&
           other.offset < one.offset + one.width;
}

consteval bool qv_keys_clash(const RecordField& one, const RecordField& other) {
    return one.key_length == 0 || one.key_text() == other.key_text();
}

/// Whether every row fits a record of that size, and no two have one key or stand in one place. For
/// a static_assert under the table.
consteval bool qv_fields_fit(RecordTable fields, size_t record_size) {
    for (size_t i = 0; i < fields.size(); ++i) {
        if (!qv_field_fits(fields[i], record_size)) {
            return false;
        }
        for (size_t other = 0; other < i; ++other) {
            if (qv_fields_overlap(fields[i], fields[other]) ||
                qv_keys_clash(fields[i], fields[other])) {
                return false;
            }
        }
    }
    return true;
}

/// Whether a table is one of settings: it fits, and a command may set every row but the lists that
/// say themselves that they are only reported.
consteval bool qv_settings_fit(RecordTable fields, size_t record_size) {
    return qv_fields_fit(fields, record_size) &&
           std::ranges::all_of(fields, [](const RecordField& field) {
               return qv_is_settable(field) || field.type == RecordFieldType::list;
           });
}

#endif
