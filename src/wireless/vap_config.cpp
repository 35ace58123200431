#include "wireless/vap_config.h"

#include "broker/send_report.h"
#include "messages/record_fields.h"
#include "messages/report.h"
#include "messages/text.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using enum RecordFieldType;

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

JsonPtr new_freqlist(std::span<const std::byte> record) {
    const auto vap = qv_record_of<VapRecord>(record);
    JsonPtr list(json_object_new_array());
    if (list != nullptr) {
        qv_append_records(list.get(), vap.freqlist, vap.freqlist_len / sizeof(FreqListEntry),
                          FREQUENCY_FIELDS);
    }
    return list;
}

/// Order of the report and of the log; the log shows the rows with a label.
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

int32_t apply_command(const char* payload, uint32_t length, WifiMgrMsgId id) {
    VapRecord record{};
    qv_json_parse_msg_get_vap_config(record, payload, length);
    qv_print_vap_config(record);
    return qv_mgr_set_vap_config(record, id);
}

} // namespace

int32_t qv_get_vap_config(VapList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_VAP_CONFIG, qv_record_bytes(record));
    return 0;
}

int32_t qv_vap_config_to_json(json_object* array, const VapList& record) {
    return qv_append_records(array, record.records, record.num_vaps, VAP_FIELDS);
}

int32_t qv_json_parse_msg_get_vap_config(VapRecord& record, const char* payload,
                                         uint32_t /*length*/) {
    const JsonPtr root(json_tokener_parse(payload));
    qv_json_to_record(qv_json_path(root.get(), {"data", "vap_config"}), qv_record_bytes(record),
                      VAP_FIELDS);
    return 0;
}

void qv_print_vap_config(const VapRecord& record) {
    qv_print_record(qv_record_bytes(record), VAP_FIELDS);
}

int32_t qv_mgr_set_vap_config(const VapRecord& record, WifiMgrMsgId id) {
    return qv_wifi_mgr_apply(id, qv_record_bytes(record));
}

int32_t qv_set_vap_config_1004(AgentContext& context, const char* payload, uint32_t length) {
    const int32_t result = apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1004);
    qv_send_report(context, REPORT_UCI_VAP_LIST, SYSTEM_STATS_ERROR);
    return result;
}

int32_t qv_set_vap_config_1006(AgentContext& /*context*/, const char* payload, uint32_t length) {
    return apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1006);
}

int32_t qv_set_vap_config_1007(AgentContext& /*context*/, const char* payload, uint32_t length) {
    return apply_command(payload, length, WIFI_MGR_SET_VAP_CONFIG_1007);
}
