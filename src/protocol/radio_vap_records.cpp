#include "protocol/radio_vap_records.h"

#include "json/text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using enum RecordFieldType;

constexpr RecordField RADIO_FIELDS[] = {
    {"radio_name", text, QV_RECORD_MEMBER(RadioEntry, radio_name)},
    {"channel", u16, QV_RECORD_MEMBER(RadioEntry, channel)},
    {"disabled", u8, QV_RECORD_MEMBER(RadioEntry, disabled)},
    {"txpower", u8, QV_RECORD_MEMBER(RadioEntry, txpower)},
    {"country", u16, QV_RECORD_MEMBER(RadioEntry, country)},
    {"radio_type", text, QV_RECORD_MEMBER(RadioEntry, radio_type)},
    {"hwmode", text, QV_RECORD_MEMBER(RadioEntry, hwmode)},
    {"htmode", text, QV_RECORD_MEMBER(RadioEntry, htmode)},
};
static_assert(qv_fields_fit(RADIO_FIELDS, sizeof(RadioEntry)));

/// The controller knows a mode with WDS by a name of its own; the record has a mode and a flag.
struct WdsMode {
    std::string_view mode;
    std::string_view name;
};
constexpr WdsMode WDS_MODES[] = {{"ap", "ap-wds"}, {"sta", "sta-wds"}};

JsonPtr new_mode(std::span<const std::byte> record) {
    const auto vap = qv_record_of<VapRecord>(record);
    const std::string_view mode = qv_field_text(vap.mode);
    const auto* const row = std::ranges::find(WDS_MODES, mode, &WdsMode::mode);
    const bool has_name = row != std::end(WDS_MODES) && qv_field_text(vap.wds) == "1";
    return qv_json_new_text(has_name ? row->name : mode);
}

void set_mode(std::span<std::byte> record, json_object* value) {
    const char* const text = json_object_get_string(value);
    if (text == nullptr) {
        return;
    }
    auto vap = qv_record_of<VapRecord>(record);
    const auto* const row = std::ranges::find(WDS_MODES, text, &WdsMode::name);
    const bool is_wds = row != std::end(WDS_MODES);
    qv_set_field_text(vap.mode, is_wds ? row->mode : text);
    qv_set_field_text(vap.wds, is_wds ? "1" : "0");
    std::ranges::copy(qv_record_bytes(vap), record.begin());
}

constexpr RecordField FREQUENCY_FIELDS[] = {
    {"channel", u8, QV_RECORD_MEMBER(FreqListEntry, channel)},
    {"mhz", i32, QV_RECORD_MEMBER(FreqListEntry, mhz)},
    {"restricted", u8, QV_RECORD_MEMBER(FreqListEntry, restricted)},
};
static_assert(qv_fields_fit(FREQUENCY_FIELDS, sizeof(FreqListEntry)));

JsonPtr new_freqlist(std::span<const std::byte> record) {
    const auto vap = qv_record_of<VapRecord>(record);
    JsonPtr list(json_object_new_array());
    if (list != nullptr) {
        qv_append_records(list.get(), vap.freqlist, vap.freqlist_len / sizeof(FreqListEntry),
                          FREQUENCY_FIELDS);
    }
    return list;
}

constexpr RecordField VAP_FIELDS[] = {
    {"ifname", text, QV_RECORD_MEMBER(VapRecord, ifname), "ifname"},
    {"device", text, QV_RECORD_MEMBER(VapRecord, device), "device"},
    {"disabled", text, QV_RECORD_MEMBER(VapRecord, disabled), "disabled"},
    {"country", text, QV_RECORD_MEMBER(VapRecord, country), "country"},
    {"hwmode", text, QV_RECORD_MEMBER(VapRecord, hwmode), "hwmode"},
    {"htmode", text, QV_RECORD_MEMBER(VapRecord, htmode), "htmode"},
    {"channel", text, QV_RECORD_MEMBER(VapRecord, channel)},
    {"freq", text, QV_RECORD_MEMBER(VapRecord, freq), "freq"},
    {"blockdfschlist", text, QV_RECORD_MEMBER(VapRecord, blockdfschlist), "blockdfschlist"},
    {"acs_bkscanen", text, QV_RECORD_MEMBER(VapRecord, acs_bkscanen), "acs_bkscanen"},
    {"acs_scanintvl", text, QV_RECORD_MEMBER(VapRecord, acs_scanintvl), "acs_scanintvl"},
    {"antenna_gain", text, QV_RECORD_MEMBER(VapRecord, antenna_gain), "antenna_gain"},
    {"txpower", text, QV_RECORD_MEMBER(VapRecord, txpower), "txpower"},
    {"ssid", text, QV_RECORD_MEMBER(VapRecord, ssid), "ssid"},
    {"txantenna", text, QV_RECORD_MEMBER(VapRecord, txantenna)},
    {"rxantenna", text, QV_RECORD_MEMBER(VapRecord, rxantenna)},
    {"scanlist", text, QV_RECORD_MEMBER(VapRecord, scanlist)},
    {"macpolicy", text, QV_RECORD_MEMBER(VapRecord, macpolicy)},
    {"mode", computed, QV_RECORD_MEMBER(VapRecord, mode), "mode", new_mode, set_mode},
    {"shortgi", text, QV_RECORD_MEMBER(VapRecord, shortgi), "shortgi"},
    {"manrate", text, QV_RECORD_MEMBER(VapRecord, manrate), "manrate"},
    {"hidden", text, QV_RECORD_MEMBER(VapRecord, hidden), "hidden"},
    {"encryption", text, QV_RECORD_MEMBER(VapRecord, encryption), "encryption"},
    {"range", text, QV_RECORD_MEMBER(VapRecord, range)},
    {"regdomain", text, QV_RECORD_MEMBER(VapRecord, regdomain)},
    {"key", text, QV_RECORD_MEMBER(VapRecord, key)},
    {"key1", text, QV_RECORD_MEMBER(VapRecord, key1)},
    {"key2", text, QV_RECORD_MEMBER(VapRecord, key2)},
    {"key3", text, QV_RECORD_MEMBER(VapRecord, key3)},
    {"key4", text, QV_RECORD_MEMBER(VapRecord, key4)},
    {"sae", text, QV_RECORD_MEMBER(VapRecord, sae)},
    {"sae_password", text, QV_RECORD_MEMBER(VapRecord, sae_password)},
    {"sae_pwe", text, QV_RECORD_MEMBER(VapRecord, sae_pwe)},
    {"sae_require_mfp", text, QV_RECORD_MEMBER(VapRecord, sae_require_mfp)},
    {"doth", text, QV_RECORD_MEMBER(VapRecord, doth)},
    {"isolate", text, QV_RECORD_MEMBER(VapRecord, isolate)},
    {"uapsd", text, QV_RECORD_MEMBER(VapRecord, uapsd)},
    {"mcast_rate", text, QV_RECORD_MEMBER(VapRecord, mcast_rate)},
    {"frag", text, QV_RECORD_MEMBER(VapRecord, frag)},
    {"rts", text, QV_RECORD_MEMBER(VapRecord, rts)},
    {"wmm", text, QV_RECORD_MEMBER(VapRecord, wmm)},
    {"freqlist", computed, QV_RECORD_MEMBER(VapRecord, freqlist), nullptr, new_freqlist},
};
static_assert(qv_fields_fit(VAP_FIELDS, sizeof(VapRecord)) && qv_fields_settable(VAP_FIELDS));

/// A row that is printed as soon as a command sets it.
constexpr RecordField printed(RecordField field) {
    field.print_when_set = true;
    return field;
}

/// Members of "general_data" and, after them, of its first VAP, in the order of the log.
constexpr RecordField CONFIG_FIELDS[] = {
    {"channel", text, QV_RECORD_MEMBER(RadioConfigRecord, channel), "channel"},
    {"freq", text, QV_RECORD_MEMBER(RadioConfigRecord, freq)},
    {"txpower", text, QV_RECORD_MEMBER(RadioConfigRecord, txpower), "txpower"},
    {"country", text, QV_RECORD_MEMBER(RadioConfigRecord, country), "country"},
    {"radio_type", text, QV_RECORD_MEMBER(RadioConfigRecord, radio_type), "radio_type"},
    {"radio_name", text, QV_RECORD_MEMBER(RadioConfigRecord, radio_name)},
    {"hwmode", text, QV_RECORD_MEMBER(RadioConfigRecord, hwmode), "hwmode"},
    {"htmode", text, QV_RECORD_MEMBER(RadioConfigRecord, htmode), "htmode"},
};
static_assert(qv_fields_fit(CONFIG_FIELDS, sizeof(RadioConfigRecord)) &&
              qv_fields_settable(CONFIG_FIELDS));
constexpr RecordField FIRST_VAP_FIELDS[] = {
    printed({"ssid", text, QV_RECORD_MEMBER(RadioConfigRecord, ssid), "wifi_ssid"}),
    printed({"key", text, QV_RECORD_MEMBER(RadioConfigRecord, key), "wifi_password"}),
    printed({"opmode", text, QV_RECORD_MEMBER(RadioConfigRecord, opmode), "opmode"}),
    printed({"encryption", text, QV_RECORD_MEMBER(RadioConfigRecord, encryption), "encryption"}),
    {"sae", text, QV_RECORD_MEMBER(RadioConfigRecord, sae), "sae"},
    {"sae_password", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_password), "sae_password"},
    {"sae_pwe", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_pwe), "sae_pwe"},
    {"sae_require_mfp", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_require_mfp),
     "sae_require_mfp"},
};
static_assert(qv_fields_fit(FIRST_VAP_FIELDS, sizeof(RadioConfigRecord)) &&
              qv_fields_settable(FIRST_VAP_FIELDS));

} // namespace

const std::span<const RecordField> qv_radio_fields = RADIO_FIELDS;
const std::span<const RecordField> qv_vap_fields = VAP_FIELDS;
const std::span<const RecordField> qv_radio_config_fields = CONFIG_FIELDS;
const std::span<const RecordField> qv_first_vap_fields = FIRST_VAP_FIELDS;
