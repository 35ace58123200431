#include "protocol.h"

#include "checks.h"
#include "maintenance/fw_upgrade.h"
#include "network/record_tables.h"
#include "settings/system_config_record.h"
#include "settings/system_config_table.h"
#include "wireless/ap_configs_records.h"
#include "wireless/record_tables.h"

#include <algorithm>
#include <array>
#include <limits>
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
    {DISCOVERY, "announcement"},
    {SYSTEM_STATS, "system statistics"},
    {AP_STATS, "access points", AP_COLUMNS},
    {STA_STATS, "stations", STA_COLUMNS},
    {RADIO_STATS, "radio statistics"},
    {INTERFACE_STATS, "interfaces"},
    {UCI_SYSTEM, "system settings"},
    {VAP_LIST, "VAP settings", VAP_COLUMNS},
    {RADIO_LIST, "radio settings"},
    {NETWORK_LAN, "LAN settings"},
    {NETWORK_WAN, "WAN settings"},
    {NETWORK_WAN6, "WAN6 settings"},
    {MACLIST_STATUS, "upload status of a MAC list"},
    {UPGRADE_STATUS, "upgrade status"},
};

constexpr Reading READINGS[] = {
    {"stations", "Associated stations", ASK_STA_STATS, STA_STATS, true},
    {"aps", "Access points, one per radio interface", ASK_AP_STATS, AP_STATS, true},
    {"interfaces", "Network interfaces and their counters", 1026, INTERFACE_STATS, true},
    {"radios",
     "Radio settings as the VAP list names them; no command asks for the radio list itself, which "
     "only \"set radio\" brings",
     ASK_VAP_LIST, VAP_LIST, false, false, RADIO_COLUMNS},
    {"radio-stats", "Radios in use", ASK_RADIO_STATS, RADIO_STATS, true},
    {"system", "System statistics: identity, load, memory, uptime", ASK_SYSTEM_STATS, SYSTEM_STATS},
    {"settings", "System settings: host name, time zone, logging, time servers",
     ASK_SYSTEM_SETTINGS, UCI_SYSTEM},
    {"vaps", "VAP settings", ASK_VAP_LIST, VAP_LIST, true},
    {"lan", "LAN settings; the device connects to the broker again", 1029, NETWORK_LAN},
    {"wan", "WAN settings; the device connects to the broker again", 1030, NETWORK_WAN},
    {"wan6", "WAN6 settings", 1031, NETWORK_WAN6},
    {"maclist", "Upload status of the MAC list of one wifi interface", 1018, MACLIST_STATUS, false,
     true},
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

std::string bytes(size_t count) {
    return "at most " + std::to_string(count) + " bytes";
}

std::string integers(int64_t lowest, int64_t highest) {
    return "integer from " + std::to_string(lowest) + " to " + std::to_string(highest);
}

void add_keys(std::vector<SettingKey>& keys, std::span<const RecordField> fields) {
    for (const RecordField& field : fields) {
        const bool is_set = field.type != RecordFieldType::computed || field.store != nullptr;
        const bool is_number = field.type == RecordFieldType::i32;
        keys.push_back({field.key,
                        is_number ? integers(std::numeric_limits<int32_t>::min(),
                                             std::numeric_limits<int32_t>::max())
                                  : bytes(field.width),
                        is_set ? Use::word : Use::reported});
    }
}

void add_keys(std::vector<SettingKey>& keys, std::span<const ApConfigsField> fields,
              const std::string& list) {
    for (const ApConfigsField& field : fields) {
        keys.push_back({list + "[]." + field.key,
                        field.type == FIELD_TYPE_STRING
                            ? bytes(field.width - size_t{1})
                            : integers(0, (int64_t{1} << (8 * field.width)) - 1),
                        Use::nested});
    }
}

std::vector<SettingKey> keys_of(std::span<const RecordField> fields) {
    std::vector<SettingKey> keys;
    add_keys(keys, fields);
    return keys;
}

std::vector<SettingKey> system_keys() {
    std::vector<SettingKey> keys = keys_of(qv_system_config_fields);
    keys.push_back({SYSTEM_SERVER_KEY, "list of at most " + std::to_string(SYSTEM_SERVER_SLOTS) +
                                           ", each " + bytes(SYSTEM_SERVER_SIZE - 1)});
    return keys;
}
std::vector<SettingKey> vap_keys() {
    return keys_of(qv_vap_fields);
}
std::vector<SettingKey> radio_keys() {
    std::vector<SettingKey> keys = keys_of(qv_radio_config_fields);
    add_keys(keys, qv_first_vap_fields);
    return keys;
}
std::vector<SettingKey> access_point_keys() {
    std::vector<SettingKey> keys{{"radio_list", "list of at most " +
                                                    std::to_string(std::size(ApConfigs{}.radios)) +
                                                    ", each with all of:"}};
    add_keys(keys, qv_apconfigs_radio_fields, "radio_list");
    const std::string vaps = "radio_list[].vap_list";
    keys.push_back({vaps,
                    "list of at most " + std::to_string(std::size(ApConfigsRadio{}.vaps)) +
                        ", each with all of:",
                    Use::nested});
    add_keys(keys, qv_apconfigs_vap_fields, vaps);
    return keys;
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
     .command = SET_SYSTEM_SETTINGS,
     .key = "uci_system",
     .report = UCI_SYSTEM,
     .read_command = ASK_SYSTEM_SETTINGS,
     .check = check_system_settings,
     .put = put_plain,
     .keys = system_keys},
    {.name = "vap",
     .help = "One VAP, named by ifname",
     .command = 1004,
     .key = "vap_config",
     .report = VAP_LIST,
     .read_command = ASK_VAP_LIST,
     .entry_key = "ifname",
     .check = check_vap,
     .put = put_plain,
     .keys = vap_keys},
    {.name = "radio",
     .help =
         "One radio, named by radio_name, and the security of its first VAP; what is not named is "
         "sent empty",
     .command = 1005,
     .key = "general_data",
     .report = RADIO_LIST,
     .confirm_command = ASK_VAP_LIST,
     .entry_key = "radio_name",
     .check = check_radio,
     .put = put_radio,
     .keys = radio_keys},
    {.name = "ap",
     .help = "All radios with all their VAPs; every member must be given",
     .command = 1001,
     .key = "apconfigs",
     .confirm_command = ASK_VAP_LIST,
     .check = check_access_point,
     .put = put_plain,
     .keys = access_point_keys},
    {.name = "lan",
     .help = "LAN settings; the device connects to the broker again",
     .command = 1011,
     .key = "uci_network_lan",
     .report = NETWORK_LAN,
     .read_command = 1029,
     .reading_reconnects = true,
     .check = check_lan,
     .put = put_plain,
     .keys = lan_keys},
    {.name = "wan",
     .help = "WAN settings; the device connects to the broker again",
     .command = 1012,
     .key = "uci_network_wan",
     .report = NETWORK_WAN,
     .read_command = 1030,
     .reading_reconnects = true,
     .check = check_wan,
     .put = put_plain,
     .keys = wan_keys},
    {.name = "wan6",
     .help = "WAN6 settings; the device connects to the broker again",
     .command = 1013,
     .key = "uci_network_wan6",
     .report = NETWORK_WAN6,
     .read_command = 1031,
     .check = check_wan6,
     .put = put_plain,
     .keys = wan6_keys},
    {.name = "maclist",
     .help = "Settings of the MAC lists, or with --delete their removal",
     .command = SET_MACLIST,
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
    if (status < 0 && job == FLASH && WIFSIGNALED(-status)) {
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
