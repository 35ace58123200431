#include "protocol/system_config_record.h"

namespace {

using enum RecordFieldType;

constexpr RecordField SYSTEM_CONFIG_FIELDS[] = {
    {"hostname", text, QV_RECORD_MEMBER(SystemConfigRecord, hostname), "hostname"},
    {"zonename", text, QV_RECORD_MEMBER(SystemConfigRecord, zonename), "zonename"},
    {"timezone", text, QV_RECORD_MEMBER(SystemConfigRecord, timezone), "timezone"},
    {"log_size", text, QV_RECORD_MEMBER(SystemConfigRecord, log_size), "log_size"},
    {"log_ip", text, QV_RECORD_MEMBER(SystemConfigRecord, log_ip), "log_ip"},
    {"log_port", text, QV_RECORD_MEMBER(SystemConfigRecord, log_port), "log_port"},
    {"conloglevel", text, QV_RECORD_MEMBER(SystemConfigRecord, conloglevel), "conloglevel"},
    {"cronloglevel", text, QV_RECORD_MEMBER(SystemConfigRecord, cronloglevel), "cronloglevel"},
    {"enabled", text, QV_RECORD_MEMBER(SystemConfigRecord, enabled), "enabled"},
    {"enable_server", text, QV_RECORD_MEMBER(SystemConfigRecord, enable_server), "enable_server"},
};
static_assert(qv_fields_fit(SYSTEM_CONFIG_FIELDS, sizeof(SystemConfigRecord)) &&
              qv_fields_settable(SYSTEM_CONFIG_FIELDS));

} // namespace

const std::span<const RecordField> qv_system_config_fields = SYSTEM_CONFIG_FIELDS;
