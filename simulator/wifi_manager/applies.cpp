#include "applies.h"

#include "json/text.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

template <class Record>
Record record_in(Bytes request) {
    Record record;
    std::memcpy(&record, request.data(), sizeof record);
    return record;
}

/// Sets the field unless the text is empty, cut to the field.
template <size_t N>
void set_given(char (&field)[N], std::string_view text) {
    if (!text.empty()) {
        qv_set_field_text(field, text);
    }
}

/// What a radio and each of its VAPs show alike. Empty texts leave what is set.
struct RadioTexts {
    std::string_view channel;
    std::string_view freq; ///< the channel's own when that is given alone
    std::string_view txpower;
    std::string_view country;
    std::string_view hwmode;
    std::string_view htmode;
};

/// Those of a VAP or of a radio's settings.
template <class Record>
RadioTexts texts_of(const Record& given) {
    return {.channel = qv_field_text(given.channel),
            .freq = qv_field_text(given.freq),
            .txpower = qv_field_text(given.txpower),
            .country = qv_field_text(given.country),
            .hwmode = qv_field_text(given.hwmode),
            .htmode = qv_field_text(given.htmode)};
}

template <class Number>
void set_number(Number& number, std::string_view text) {
    if (!text.empty()) {
        number = static_cast<Number>(qv_number_in(text));
    }
}

void set_radio(AccessPoint& ap, size_t number, const RadioTexts& given) {
    RadioEntry& radio = ap.radios.entries[number];
    set_number(radio.channel, given.channel);
    set_number(radio.txpower, given.txpower);
    set_given(radio.hwmode, given.hwmode);
    set_given(radio.htmode, given.htmode);
    if (!given.country.empty()) {
        radio.country = qv_country_number(given.country);
    }
    const std::string own_freq = std::to_string(BANDS[number].mhz_base + 5 * radio.channel);
    const bool is_own = given.freq.empty() && !given.channel.empty();
    for (VapRecord& vap : qv_vaps(ap)) {
        if (qv_field_text(vap.device) == qv_field_text(radio.radio_name)) {
            set_given(vap.channel, given.channel);
            set_given(vap.freq, is_own ? own_freq : given.freq);
            set_given(vap.txpower, given.txpower);
            set_given(vap.country, given.country);
            set_given(vap.hwmode, given.hwmode);
            set_given(vap.htmode, given.htmode);
        }
    }
}

/// A mode as the controller names it: WDS is a suffix there, and a flag in the record.
void set_mode(VapRecord& vap, std::string_view opmode) {
    if (opmode.empty()) {
        return;
    }
    const bool wds = opmode.ends_with("-wds");
    qv_set_field_text(vap.mode, wds ? opmode.substr(0, opmode.size() - 4) : opmode);
    qv_set_field_text(vap.wds, wds ? "1" : "0");
}

void set_given_texts(VapRecord& vap, const VapRecord& given) {
    const auto to = qv_record_bytes(vap);
    const auto from = qv_record_bytes(given);
    for (const RecordField& field : qv_vap_fields) {
        const Bytes text = from.subspan(field.offset, field.width);
        if (field.type == RecordFieldType::text && text[0] != std::byte{0}) {
            std::ranges::copy(text, to.subspan(field.offset).begin());
        }
    }
    set_given(vap.mode, qv_field_text(given.mode));
    set_given(vap.wds, qv_field_text(given.wds));
}

/// First name of the form ath<n> that no VAP has.
std::string free_ifname(std::span<const VapRecord> vaps) {
    for (size_t i = 0;; ++i) {
        std::string name = "ath" + std::to_string(i);
        if (std::ranges::none_of(
                vaps, [&](const VapRecord& vap) { return qv_field_text(vap.ifname) == name; })) {
            return name;
        }
    }
}

/// The first VAPs of a radio, at most `count`.
std::vector<VapRecord> vaps_of_radio(const AccessPoint& ap, size_t radio, size_t count) {
    const std::string_view name = qv_field_text(ap.radios.entries[radio].radio_name);
    std::vector<VapRecord> vaps;
    for (const VapRecord& vap : qv_vaps(ap)) {
        if (qv_field_text(vap.device) == name && vaps.size() < count) {
            vaps.push_back(vap);
        }
    }
    return vaps;
}

/// What a VAP is given alike by the settings of its radio and by those of the whole access point.
template <class Given>
void set_access(VapRecord& vap, const Given& given) {
    set_given(vap.ssid, qv_field_text(given.ssid));
    set_given(vap.key, qv_field_text(given.key));
    set_given(vap.encryption, qv_field_text(given.encryption));
    set_mode(vap, qv_field_text(given.opmode));
}

void set_bundle_radio(AccessPoint& ap, size_t number, const ApConfigsRadio& given) {
    const std::string channel = std::to_string(given.channel);
    const std::string txpower = std::to_string(given.txpower);
    const std::string_view letters = qv_country_letters(given.country);
    const std::string digits = std::to_string(given.country);
    set_radio(ap, number,
              {.channel = channel,
               .freq = {},
               .txpower = txpower,
               .country = letters.empty() ? digits : letters,
               .hwmode = qv_field_text(given.hwmode),
               .htmode = qv_field_text(given.htmode)});
    ap.radios.entries[number].disabled = given.disabled;
}

} // namespace

const char* qv_apply_vap(AccessPoint& ap, Bytes request) {
    const auto given = record_in<VapRecord>(request);
    const auto vaps = qv_vaps(ap);
    const auto vap = std::ranges::find_if(vaps, [&](const VapRecord& other) {
        return qv_field_text(other.ifname) == qv_field_text(given.ifname);
    });
    if (vap == vaps.end()) {
        return "no VAP of that interface name";
    }
    const std::string_view device = qv_field_text(vap->device);
    if (given.device[0] != '\0' && qv_field_text(given.device) != device) {
        return "a VAP stays on its radio";
    }
    const size_t radio = qv_find_radio(ap, device);
    if (radio == RADIOS) {
        return "no radio of that name";
    }
    set_given_texts(*vap, given);
    set_radio(ap, radio, texts_of(given));
    return nullptr;
}

const char* qv_apply_radio(AccessPoint& ap, Bytes request) {
    const auto given = record_in<RadioConfigRecord>(request);
    const size_t number = qv_find_radio(ap, qv_field_text(given.radio_name));
    if (number == RADIOS) {
        return "no radio of that name";
    }
    set_given(ap.radios.entries[number].radio_type, qv_field_text(given.radio_type));
    set_radio(ap, number, texts_of(given));
    const auto vaps = qv_vaps(ap);
    const auto vap = std::ranges::find_if(vaps, [&](const VapRecord& other) {
        return qv_field_text(other.device) == qv_field_text(given.radio_name);
    });
    if (vap != vaps.end()) {
        set_access(*vap, given);
        set_given(vap->sae, qv_field_text(given.sae));
        set_given(vap->sae_password, qv_field_text(given.sae_password));
        set_given(vap->sae_pwe, qv_field_text(given.sae_pwe));
        set_given(vap->sae_require_mfp, qv_field_text(given.sae_require_mfp));
    }
    return nullptr;
}

const char* qv_apply_apconfigs(AccessPoint& ap, Bytes request) {
    const auto given = record_in<ApConfigs>(request);
    if (given.num_radios > RADIOS) {
        return "more radios than there are";
    }
    AccessPoint changed = ap;
    changed.apconfigs = given;
    std::vector<VapRecord> vaps;
    for (size_t number = 0; number < RADIOS; ++number) {
        const bool named = number < given.num_radios;
        const ApConfigsRadio& radio = given.radios[number];
        if (named && radio.num_vaps > VAP_ROOM) {
            return "more VAPs than a radio has room for";
        }
        const size_t count = named ? radio.num_vaps : VAP_ROOM;
        std::vector<VapRecord> below = vaps_of_radio(ap, number, count);
        for (size_t i = 0; named && i < radio.num_vaps; ++i) {
            if (i == below.size()) {
                below.push_back(qv_make_vap(ap, number, "", 0));
            }
            set_access(below[i], radio.vaps[i]);
        }
        vaps.insert(vaps.end(), below.begin(), below.end());
    }
    if (vaps.size() > VAP_ROOM) {
        return "more VAPs than there is room for";
    }
    for (VapRecord& vap : vaps) {
        if (vap.ifname[0] == '\0') {
            qv_set_field_text(vap.ifname, free_ifname(vaps));
        }
    }
    changed.vaps.num_vaps = static_cast<uint8_t>(vaps.size());
    std::ranges::copy(vaps, changed.vaps.records);
    for (size_t number = 0; number < given.num_radios; ++number) {
        set_bundle_radio(changed, number, given.radios[number]);
    }
    ap = changed;
    return nullptr;
}

const char* qv_apply_general_data(AccessPoint& ap, Bytes request) {
    const std::string_view text(reinterpret_cast<const char*>(request.data()), request.size());
    if (text.empty() || text.size() > sizeof ap.general_data ||
        text.find('\0') != text.size() - 1) {
        return "no text with its terminator, or too long";
    }
    qv_set_field_text(ap.general_data, text);
    return nullptr;
}

const char* qv_apply_upgrade_notice(AccessPoint& ap, Bytes request) {
    const auto notice = record_in<uint32_t>(request);
    if (notice > 1) {
        return "no notice";
    }
    ap.upgrade_notice = static_cast<int32_t>(notice);
    return nullptr;
}
