// What the wireless commands may name: the tables over the wifi manager's wireless records.
#ifndef QV_WIRELESS_RECORD_TABLES_H
#define QV_WIRELESS_RECORD_TABLES_H

#include "messages/json_field.h"
#include "messages/record_fields.h"

#include <cstdint>
#include <span>

/// VapRecord, in the order of the report and of the log; the log shows the rows with a label.
extern const std::span<const RecordField> qv_vap_fields;

/// RadioConfigRecord: the radio's own fields, and those of its first VAP.
extern const std::span<const RecordField> qv_radio_config_fields;
extern const std::span<const RecordField> qv_first_vap_fields;

/// MacListControl.
extern const std::span<const RecordField> qv_maclist_fields;

/// A field of the records as the typed reader takes it, in the order of reading.
struct ApConfigsField {
    const char* key;
    FieldType type;
    uint16_t offset; ///< in its record, in bytes
    uint16_t width;
};

/// ApConfigsRadio and ApConfigsVap. A text needs room for its NUL.
extern const std::span<const ApConfigsField> qv_apconfigs_radio_fields;
extern const std::span<const ApConfigsField> qv_apconfigs_vap_fields;

#endif
