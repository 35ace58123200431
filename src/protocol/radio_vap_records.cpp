#include "protocol/radio_vap_records.h"

#include "json/text.h"
#include "protocol/record_checks.h"
#include "protocol/record_walk.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using enum RecordFieldType;

constexpr RecordField RADIO_FIELDS[] = {
    {"radio_name", text, QV_RECORD_MEMBER(RadioEntry, radio_name, 86)},
    {"channel", u16, QV_RECORD_MEMBER(RadioEntry, channel, 0)},
    {"disabled", u8, QV_RECORD_MEMBER(RadioEntry, disabled, 2)},
    {"txpower", u8, QV_RECORD_MEMBER(RadioEntry, txpower, 3)},
    {"country", u16, QV_RECORD_MEMBER(RadioEntry, country, 4)},
    {"radio_type", text, QV_RECORD_MEMBER(RadioEntry, radio_type, 14)},
    {"hwmode", text, QV_RECORD_MEMBER(RadioEntry, hwmode, 22)},
    {"htmode", text, QV_RECORD_MEMBER(RadioEntry, htmode, 54)},
};
static_assert(qv_fields_fit(RADIO_FIELDS, sizeof(RadioEntry)));

/// The controller knows a mode with WDS by a name of its own; the record has a mode and a flag.
struct WdsMode {
    std::string_view mode;
    std::string_view name;
};
constexpr WdsMode WDS_MODES[] = {{"ap", "ap-wds"}, {"sta", "sta-wds"}};

constexpr RecordField STORED_MODE = {nullptr, text, QV_RECORD_MEMBER(VapRecord, mode, 224)};
constexpr RecordField STORED_WDS = {nullptr, text, QV_RECORD_MEMBER(VapRecord, wds, 232)};

std::string_view mode_name(std::span<const std::byte> record) {
    const std::string_view mode = qv_record_text(record, STORED_MODE);
    const auto* const row = std::ranges::find(WDS_MODES, mode, &WdsMode::mode);
    const bool has_name = row != std::end(WDS_MODES) && qv_record_text(record, STORED_WDS) == "1";
    return has_name ? row->name : mode;
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
    {"channel", u8, QV_RECORD_MEMBER(FreqListEntry, channel, 1)},
    {"mhz", i32, QV_RECORD_MEMBER(FreqListEntry, mhz, 4)},
    {"restricted", u8, QV_RECORD_MEMBER(FreqListEntry, restricted, 8)},
};
static_assert(qv_fields_fit(FREQUENCY_FIELDS, sizeof(FreqListEntry)));

constexpr RecordList FREQUENCIES = {
    QV_RECORD_LIST(VapRecord, freqlist, 616, freqlist_len, 2664, FREQUENCY_FIELDS),
    sizeof(FreqListEntry), true};
constexpr RecordSpecial FREQLIST = {.list = &FREQUENCIES};
constexpr RecordSpecial MODE = {.compute = mode_name, .store = set_mode};

constexpr RecordField VAP_FIELDS[] = {
    {"ifname", text, QV_RECORD_MEMBER(VapRecord, ifname, 0), "ifname"},
    {"device", text, QV_RECORD_MEMBER(VapRecord, device, 8), "device"},
    {"disabled", text, QV_RECORD_MEMBER(VapRecord, disabled, 16), "disabled"},
    {"country", text, QV_RECORD_MEMBER(VapRecord, country, 24), "country"},
    {"hwmode", text, QV_RECORD_MEMBER(VapRecord, hwmode, 32), "hwmode"},
    {"htmode", text, QV_RECORD_MEMBER(VapRecord, htmode, 40), "htmode"},
    {"channel", text, QV_RECORD_MEMBER(VapRecord, channel, 48)},
    {"freq", text, QV_RECORD_MEMBER(VapRecord, freq, 56), "freq"},
    {"blockdfschlist", text, QV_RECORD_MEMBER(VapRecord, blockdfschlist, 64), "blockdfschlist"},
    {"acs_bkscanen", text, QV_RECORD_MEMBER(VapRecord, acs_bkscanen, 72), "acs_bkscanen"},
    {"acs_scanintvl", text, QV_RECORD_MEMBER(VapRecord, acs_scanintvl, 80), "acs_scanintvl"},
    {"antenna_gain", text, QV_RECORD_MEMBER(VapRecord, antenna_gain, 88), "antenna_gain"},
    {"txpower", text, QV_RECORD_MEMBER(VapRecord, txpower, 120), "txpower"},
    {"ssid", text, QV_RECORD_MEMBER(VapRecord, ssid, 192), "ssid"},
    {"txantenna", text, QV_RECORD_MEMBER(VapRecord, txantenna, 2668)},
    {"rxantenna", text, QV_RECORD_MEMBER(VapRecord, rxantenna, 2700)},
    {"scanlist", text, QV_RECORD_MEMBER(VapRecord, scanlist, 2732)},
    {"macpolicy", text, QV_RECORD_MEMBER(VapRecord, macpolicy, 2988)},
    {"mode", computed, QV_RECORD_MEMBER(VapRecord, mode, 224), "mode", &MODE},
    {"shortgi", text, QV_RECORD_MEMBER(VapRecord, shortgi, 240), "shortgi"},
    {"manrate", text, QV_RECORD_MEMBER(VapRecord, manrate, 248), "manrate"},
    {"hidden", text, QV_RECORD_MEMBER(VapRecord, hidden, 280), "hidden"},
    {"encryption", text, QV_RECORD_MEMBER(VapRecord, encryption, 288), "encryption"},
    {"range", text, QV_RECORD_MEMBER(VapRecord, range, 128)},
    {"regdomain", text, QV_RECORD_MEMBER(VapRecord, regdomain, 160)},
    {"key", text, QV_RECORD_MEMBER(VapRecord, key, 320)},
    {"key1", text, QV_RECORD_MEMBER(VapRecord, key1, 352)},
    {"key2", text, QV_RECORD_MEMBER(VapRecord, key2, 384)},
    {"key3", text, QV_RECORD_MEMBER(VapRecord, key3, 416)},
    {"key4", text, QV_RECORD_MEMBER(VapRecord, key4, 448)},
    {"sae", text, QV_RECORD_MEMBER(VapRecord, sae, 480)},
    {"sae_password", text, QV_RECORD_MEMBER(VapRecord, sae_password, 488)},
    {"sae_pwe", text, QV_RECORD_MEMBER(VapRecord, sae_pwe, 520)},
    {"sae_require_mfp", text, QV_RECORD_MEMBER(VapRecord, sae_require_mfp, 528)},
    {"doth", text, QV_RECORD_MEMBER(VapRecord, doth, 536)},
    {"isolate", text, QV_RECORD_MEMBER(VapRecord, isolate, 544)},
    {"uapsd", text, QV_RECORD_MEMBER(VapRecord, uapsd, 552)},
    {"mcast_rate", text, QV_RECORD_MEMBER(VapRecord, mcast_rate, 560)},
    {"frag", text, QV_RECORD_MEMBER(VapRecord, frag, 576)},
    {"rts", text, QV_RECORD_MEMBER(VapRecord, rts, 592)},
    {"wmm", text, QV_RECORD_MEMBER(VapRecord, wmm, 608)},
    {"freqlist", list, QV_RECORD_MEMBER(VapRecord, freqlist, 616), nullptr, &FREQLIST},
};
static_assert(qv_settings_fit(VAP_FIELDS, sizeof(VapRecord)));

/// Of the radio's first VAP, which is all that a command may give; in the order of the log.
constexpr RecordField FIRST_VAP_FIELDS[] = {
    qv_printed({"ssid", text, QV_RECORD_MEMBER(RadioConfigRecord, ssid, 176), "wifi_ssid"}),
    qv_printed({"key", text, QV_RECORD_MEMBER(RadioConfigRecord, key, 208), "wifi_password"}),
    qv_printed({"opmode", text, QV_RECORD_MEMBER(RadioConfigRecord, opmode, 240), "opmode"}),
    qv_printed(
        {"encryption", text, QV_RECORD_MEMBER(RadioConfigRecord, encryption, 256), "encryption"}),
    {"sae", text, QV_RECORD_MEMBER(RadioConfigRecord, sae, 272), "sae"},
    {"sae_password", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_password, 280), "sae_password"},
    {"sae_pwe", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_pwe, 312), "sae_pwe"},
    {"sae_require_mfp", text, QV_RECORD_MEMBER(RadioConfigRecord, sae_require_mfp, 320),
     "sae_require_mfp"},
};
static_assert(qv_settings_fit(FIRST_VAP_FIELDS, sizeof(RadioConfigRecord)));

/// They stand in the record of the radio itself.
constexpr RecordList FIRST_VAP = {FIRST_VAP_FIELDS, 0, sizeof(RadioConfigRecord), 1};
constexpr RecordSpecial VAP_LIST = {.list = &FIRST_VAP};
constexpr RecordField CONFIG_FIELDS[] = {
    {"channel", text, QV_RECORD_MEMBER(RadioConfigRecord, channel, 0), "channel"},
    {"freq", text, QV_RECORD_MEMBER(RadioConfigRecord, freq, 8)},
    {"txpower", text, QV_RECORD_MEMBER(RadioConfigRecord, txpower, 16), "txpower"},
    {"country", text, QV_RECORD_MEMBER(RadioConfigRecord, country, 48), "country"},
    {"radio_type", text, QV_RECORD_MEMBER(RadioConfigRecord, radio_type, 80), "radio_type"},
    {"radio_name", text, QV_RECORD_MEMBER(RadioConfigRecord, radio_name, 96)},
    {"hwmode", text, QV_RECORD_MEMBER(RadioConfigRecord, hwmode, 112), "hwmode"},
    {"htmode", text, QV_RECORD_MEMBER(RadioConfigRecord, htmode, 144), "htmode"},
    {"vap_list", list, 0, 0, nullptr, &VAP_LIST},
};
static_assert(qv_settings_fit(CONFIG_FIELDS, sizeof(RadioConfigRecord)));

constexpr RecordList RADIOS = {QV_RECORD_LIST(RadioList, entries, 2, count, 0, RADIO_FIELDS)};
constexpr RecordList VAPS = {QV_RECORD_LIST(VapList, records, 4, num_vaps, 0, VAP_FIELDS)};
static_assert(qv_list_fits(RADIOS, sizeof(RadioList)) && qv_list_fits(VAPS, sizeof(VapList)));

} // namespace

const RecordTable qv_vap_fields = VAP_FIELDS;
const RecordTable qv_radio_config_fields = CONFIG_FIELDS;
const RecordTable qv_first_vap_fields = FIRST_VAP_FIELDS;
const RecordList qv_radio_list = RADIOS;
const RecordList qv_vap_list = VAPS;
