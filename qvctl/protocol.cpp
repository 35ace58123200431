#include "protocol.h"

#include "checks.h"
#include "protocol/ap_configs_records.h"
#include "protocol/maclist_records.h"
#include "protocol/network_records.h"
#include "protocol/radio_vap_records.h"
#include "protocol/record_walk.h"
#include "protocol/system_config_record.h"
#include "protocol/upgrade.h"

#include <algorithm>
#include <sys/wait.h>

namespace qvctl {

namespace {

constexpr const char* AP_COLUMNS[] = {"ifname",  "parent", "ssid",      "bssid",
                                      "channel", "status", "numsta",    "txpower",
                                      "country", "ipaddr", "encryption"};
constexpr const char* STA_COLUMNS[] = {"macaddr", "bssid",  "channel", "rssi",
                                       "txrate",  "rxrate", "uptime",  "txpower"};
constexpr const char* VAP_COLUMNS[] = {"ifname",     "device", "ssid",    "mode",    "channel",
                                       "encryption", "hidden", "isolate", "disabled"};
constexpr const char* RADIO_COLUMNS[] = {"device", "hwmode",  "htmode",  "channel",
                                         "freq",   "txpower", "country", "antenna_gain"};

constexpr ReportKind REPORT_KINDS[] = {
    {REPORT_TYPE_DEVICE_DISCOVERY, "announcement"},
    {REPORT_TYPE_SYSTEM_STATS, "system statistics"},
    {REPORT_TYPE_AP_STATS, "access points", AP_COLUMNS},
    {REPORT_TYPE_STA_STATS, "stations", STA_COLUMNS},
    {REPORT_TYPE_RADIO_STATS, "radio statistics"},
    {REPORT_TYPE_INTERFACE_STATS, "interfaces"},
    {REPORT_TYPE_UCI_SYSTEM, "system settings"},
    {REPORT_TYPE_UCI_VAP_LIST, "VAP settings", VAP_COLUMNS},
    {REPORT_TYPE_UCI_RADIO_LIST, "radio settings"},
    {REPORT_TYPE_UCI_NETWORK_LAN, "LAN settings"},
    {REPORT_TYPE_UCI_NETWORK_WAN, "WAN settings"},
    {REPORT_TYPE_UCI_NETWORK_WAN6, "WAN6 settings"},
    {REPORT_TYPE_UCI_VAP_MACLIST, "upload status of a MAC list"},
    {REPORT_TYPE_UPDATA_STATS, "upgrade status"},
};

constexpr Reading READINGS[] = {
    {"stations", "Associated stations", COMMAND_GET_STA_STATS, REPORT_TYPE_STA_STATS, true},
    {"aps", "Access points, one per radio interface", COMMAND_GET_AP_STATS, REPORT_TYPE_AP_STATS,
     true},
    {"interfaces", "Network interfaces and their counters", COMMAND_GET_INTERFACE_STATS,
     REPORT_TYPE_INTERFACE_STATS, true},
    {"radios",
     "Radio settings as the VAP list names them; no command asks for the radio list itself, which "
     "only \"set radio\" brings",
     COMMAND_GET_VAP_LIST, REPORT_TYPE_UCI_VAP_LIST, false, false, RADIO_COLUMNS},
    {"radio-stats", "Radios in use", COMMAND_GET_RADIO_STATS, REPORT_TYPE_RADIO_STATS, true},
    {"system", "System statistics: identity, load, memory, uptime", COMMAND_GET_SYSTEM_STATS,
     REPORT_TYPE_SYSTEM_STATS},
    {"settings", "System settings: host name, time zone, logging, time servers", COMMAND_GET_SYSTEM,
     REPORT_TYPE_UCI_SYSTEM},
    {"vaps", "VAP settings", COMMAND_GET_VAP_LIST, REPORT_TYPE_UCI_VAP_LIST, true},
    {"lan", "LAN settings; the device connects to the broker again", COMMAND_GET_NETWORK_LAN,
     REPORT_TYPE_UCI_NETWORK_LAN},
    {"wan", "WAN settings; the device connects to the broker again", COMMAND_GET_NETWORK_WAN,
     REPORT_TYPE_UCI_NETWORK_WAN},
    {"wan6", "WAN6 settings", COMMAND_GET_NETWORK_WAN6, REPORT_TYPE_UCI_NETWORK_WAN6},
    {"maclist", "Upload status of the MAC list of one wifi interface", COMMAND_GET_MACLIST_STATUS,
     REPORT_TYPE_UCI_VAP_MACLIST, false, true},
};

void put_plain(json_object* settings, const std::string& key, JsonPtr value) {
    qv_json_add(settings, key.c_str(), std::move(value));
}

/// Keys of the first VAP go into the list that holds it.
void put_radio(json_object* settings, const std::string& key, JsonPtr value) {
    if (qv_find_record_field(qv_first_vap_fields, key.c_str()) == nullptr) {
        put_plain(settings, key, std::move(value));
        return;
    }
    if (qv_json_member(settings, "vap_list") == nullptr) {
        qv_json_add(settings, "vap_list", JsonPtr(json_object_new_array()));
    }
    json_object* const vaps = qv_json_member(settings, "vap_list");
    if (json_object_is_type(vaps, json_type_array) != 0 && json_object_array_length(vaps) == 0) {
        qv_json_append(vaps, JsonPtr(json_object_new_object()));
    }
    json_object* const vap = json_object_is_type(vaps, json_type_array) != 0
                                 ? json_object_array_get_idx(vaps, 0)
                                 : nullptr;
    put_plain(json_object_is_type(vap, json_type_object) != 0 ? vap : settings, key,
              std::move(value));
}

using Use = SettingKey::Use;

/// What the row takes.
std::string limit_of(const RecordField& field) {
    if (field.type == RecordFieldType::list) {
        const RecordList& list = *field.special->list;
        const RecordField& first = list.fields[0];
        return "list of at most " + std::to_string(list.room) + ", each " +
               (first.has_key() ? "with all of:" : limit_of(first));
    }
    if (qv_is_integer(field)) {
        const IntegerRange range = qv_integer_range(field);
        return "integer from " + std::to_string(range.lowest) + " to " +
               std::to_string(range.highest);
    }
    return "at most " + std::to_string(qv_longest_text(field)) + " bytes";
}

/// The rows' keys and, behind a list, those of its entries.
void add_keys(std::vector<SettingKey>& keys, RecordTable fields, const std::string& prefix = "") {
    for (const RecordField& field : fields) {
        const std::string name = prefix + field.key;
        const bool is_set = qv_is_settable(field);
        keys.push_back({name, limit_of(field),
                        !is_set          ? Use::reported
                        : prefix.empty() ? Use::word
                                         : Use::nested});
        if (is_set && field.type == RecordFieldType::list &&
            field.special->list->fields[0].has_key()) {
            add_keys(keys, field.special->list->fields, name + "[].");
        }
    }
}

std::vector<SettingKey> keys_of(RecordTable fields) {
    std::vector<SettingKey> keys;
    add_keys(keys, fields);
    return keys;
}

std::vector<SettingKey> system_keys() {
    return keys_of(qv_system_config_fields);
}
std::vector<SettingKey> vap_keys() {
    return keys_of(qv_vap_fields);
}
std::vector<SettingKey> radio_keys() {
    // Its last row is the list of VAPs; the keys of its one entry stand for it.
    const RecordTable fields = qv_radio_config_fields;
    std::vector<SettingKey> keys = keys_of(fields.first(fields.size() - 1));
    add_keys(keys, qv_first_vap_fields);
    return keys;
}
std::vector<SettingKey> access_point_keys() {
    return keys_of(qv_apconfigs_fields);
}
std::vector<SettingKey> lan_keys() {
    return keys_of(qv_network_lan_fields);
}
std::vector<SettingKey> wan_keys() {
    return keys_of(qv_network_wan_fields);
}
std::vector<SettingKey> wan6_keys() {
    return keys_of(qv_network_wan6_fields);
}
std::vector<SettingKey> maclist_keys() {
    return keys_of(qv_maclist_fields);
}

constexpr Setting SETTINGS[] = {
    {.name = "settings",
     .help = "System settings",
     .command = COMMAND_SET_SYSTEM,
     .key = "uci_system",
     .report = REPORT_TYPE_UCI_SYSTEM,
     .read_command = COMMAND_GET_SYSTEM,
     .check = check_system_settings,
     .put = put_plain,
     .keys = system_keys},
    {.name = "vap",
     .help = "One VAP, named by ifname",
     .command = COMMAND_SET_VAP_AND_REPORT,
     .key = "vap_config",
     .report = REPORT_TYPE_UCI_VAP_LIST,
     .read_command = COMMAND_GET_VAP_LIST,
     .entry_key = "ifname",
     .check = check_vap,
     .put = put_plain,
     .keys = vap_keys},
    {.name = "radio",
     .help =
         "One radio, named by radio_name, and the security of its first VAP; what is not named is "
         "sent empty",
     .command = COMMAND_SET_RADIO,
     .key = "general_data",
     .report = REPORT_TYPE_UCI_RADIO_LIST,
     .confirm_command = COMMAND_GET_VAP_LIST,
     .entry_key = "radio_name",
     .check = check_radio,
     .put = put_radio,
     .keys = radio_keys},
    {.name = "ap",
     .help = "All radios with all their VAPs; every member must be given",
     .command = COMMAND_SET_APCONFIGS,
     .key = "apconfigs",
     .confirm_command = COMMAND_GET_VAP_LIST,
     .check = check_access_point,
     .put = put_plain,
     .keys = access_point_keys},
    {.name = "lan",
     .help = "LAN settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_LAN,
     .key = "uci_network_lan",
     .report = REPORT_TYPE_UCI_NETWORK_LAN,
     .read_command = COMMAND_GET_NETWORK_LAN,
     .reading_reconnects = true,
     .check = check_lan,
     .put = put_plain,
     .keys = lan_keys},
    {.name = "wan",
     .help = "WAN settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_WAN,
     .key = "uci_network_wan",
     .report = REPORT_TYPE_UCI_NETWORK_WAN,
     .read_command = COMMAND_GET_NETWORK_WAN,
     .reading_reconnects = true,
     .check = check_wan,
     .put = put_plain,
     .keys = wan_keys},
    {.name = "wan6",
     .help = "WAN6 settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_WAN6,
     .key = "uci_network_wan6",
     .report = REPORT_TYPE_UCI_NETWORK_WAN6,
     .read_command = COMMAND_GET_NETWORK_WAN6,
     .check = check_wan6,
     .put = put_plain,
     .keys = wan6_keys},
    {.name = "maclist",
     .help = "Settings of the MAC lists, or with --delete their removal",
     .command = COMMAND_SET_MACLIST,
     .key = "general_data",
     .check = check_maclist,
     .put = put_plain,
     .keys = maclist_keys},
};

} // namespace

const ReportKind* find_report_kind(int type) {
    const auto* const row = std::ranges::find(REPORT_KINDS, type, &ReportKind::type);
    return row == std::end(REPORT_KINDS) ? nullptr : row;
}

std::span<const Reading> readings() {
    return READINGS;
}

std::span<const Setting> settings() {
    return SETTINGS;
}

std::vector<std::string> words_of(const Setting& setting) {
    std::vector<std::string> words;
    for (const SettingKey& key : setting.keys()) {
        if (key.use == Use::word) {
            words.push_back(key.name);
        }
    }
    return words;
}

std::string upgrade_status_text(int status, CommandType job) {
    // The flashing tool's own status, as wait(2) gives it, negated.
    if (status < 0 && job == COMMAND_FW_FLASH && WIFSIGNALED(-status)) {
        return "the flashing tool was ended by signal " + std::to_string(WTERMSIG(-status));
    }
    switch (static_cast<UpdataStatus>(status)) {
    case UPDATA_FLASHED_IMAGE: return "the image that lay on the device was flashed";
    case UPDATA_ACCEPTED: return "accepted, downloading";
    case UPDATA_FLASHING: return "image verified, flashing";
    case UPDATA_DONE: return "flashed, or handed to the tool that does it";
    case UPDATA_DOWNLOAD_FAILED: return "the download failed, or the command was refused";
    case UPDATA_CHECKSUM_WRONG: return "the image's MD5 sum is wrong, or no tool told it";
    case UPDATA_FLASHING_FAILED: return "flashing failed, or no tool for this board";
    case UPDATA_BOARD_UNREADABLE: return "the device cannot tell which board it is";
    }
    if (status < 0 && WIFEXITED(-status)) {
        return "the flashing tool ended with status " + std::to_string(WEXITSTATUS(-status));
    }
    return "flashing failed";
}

} // namespace qvctl
