#include "protocol/ap_configs_records.h"

#include "protocol/record_fields.h"

namespace {

constexpr ApConfigsField APCONFIGS_RADIO_FIELDS[] = {
    {"channel", FIELD_TYPE_UINT16, QV_RECORD_MEMBER(ApConfigsRadio, channel)},
    {"disabled", FIELD_TYPE_UINT8, QV_RECORD_MEMBER(ApConfigsRadio, disabled)},
    {"txpower", FIELD_TYPE_UINT8, QV_RECORD_MEMBER(ApConfigsRadio, txpower)},
    {"country", FIELD_TYPE_UINT16, QV_RECORD_MEMBER(ApConfigsRadio, country)},
    {"hwmode", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsRadio, hwmode)},
    {"htmode", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsRadio, htmode)},
};
constexpr ApConfigsField APCONFIGS_VAP_FIELDS[] = {
    {"ssid", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsVap, ssid)},
    {"opmode", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsVap, opmode)},
    {"network", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsVap, network)},
    {"key", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsVap, key)},
    {"encryption", FIELD_TYPE_STRING, QV_RECORD_MEMBER(ApConfigsVap, encryption)},
};

} // namespace

const std::span<const ApConfigsField> qv_apconfigs_radio_fields = APCONFIGS_RADIO_FIELDS;
const std::span<const ApConfigsField> qv_apconfigs_vap_fields = APCONFIGS_VAP_FIELDS;
