#include "protocol/ap_configs_records.h"

#include "protocol/record_checks.h"

namespace {

using enum RecordFieldType;

constexpr RecordField VAP_FIELDS[] = {
    qv_required({"ssid", terminated_text, QV_RECORD_MEMBER(ApConfigsVap, ssid, 0)}),
    qv_required({"opmode", terminated_text, QV_RECORD_MEMBER(ApConfigsVap, opmode, 32)}),
    qv_required({"network", terminated_text, QV_RECORD_MEMBER(ApConfigsVap, network, 42)}),
    qv_required({"key", terminated_text, QV_RECORD_MEMBER(ApConfigsVap, key, 74)}),
    qv_required({"encryption", terminated_text, QV_RECORD_MEMBER(ApConfigsVap, encryption, 106)}),
};
static_assert(qv_settings_fit(VAP_FIELDS, sizeof(ApConfigsVap)));

constexpr RecordList VAPS = {QV_RECORD_LIST(ApConfigsRadio, vaps, 76, num_vaps, 72, VAP_FIELDS)};
constexpr RecordSpecial VAP_LIST = {.list = &VAPS};
constexpr RecordField RADIO_FIELDS[] = {
    qv_required({"channel", u16, QV_RECORD_MEMBER(ApConfigsRadio, channel, 0)}),
    qv_required({"disabled", u8, QV_RECORD_MEMBER(ApConfigsRadio, disabled, 2)}),
    qv_required({"txpower", u8, QV_RECORD_MEMBER(ApConfigsRadio, txpower, 3)}),
    qv_required({"country", u16, QV_RECORD_MEMBER(ApConfigsRadio, country, 4)}),
    qv_required({"hwmode", terminated_text, QV_RECORD_MEMBER(ApConfigsRadio, hwmode, 6)}),
    qv_required({"htmode", terminated_text, QV_RECORD_MEMBER(ApConfigsRadio, htmode, 38)}),
    qv_required({"vap_list", list, QV_RECORD_MEMBER(ApConfigsRadio, vaps, 76), nullptr, &VAP_LIST}),
};
static_assert(qv_settings_fit(RADIO_FIELDS, sizeof(ApConfigsRadio)));

constexpr RecordList RADIOS = {QV_RECORD_LIST(ApConfigs, radios, 8, num_radios, 4, RADIO_FIELDS)};
constexpr RecordSpecial RADIO_LIST = {.list = &RADIOS};
constexpr RecordField AP_FIELDS[] = {
    qv_required({"radio_list", list, QV_RECORD_MEMBER(ApConfigs, radios, 8), nullptr, &RADIO_LIST}),
};
static_assert(qv_settings_fit(AP_FIELDS, sizeof(ApConfigs)));

} // namespace

const RecordTable qv_apconfigs_fields = AP_FIELDS;
