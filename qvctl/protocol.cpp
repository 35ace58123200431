#include "protocol.h"

#include "checks.h"
#include "key_meanings.h"
#include "protocol/record_walk.h"
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
    {"stations", "Associated stations", COMMAND_GET_STA_STATS, true},
    {"aps", "Access points, one per radio interface", COMMAND_GET_AP_STATS, true},
    {"interfaces", "Network interfaces and their counters", COMMAND_GET_INTERFACE_STATS, true},
    {"radios",
     "Radio settings as the VAP list names them; no command asks for the radio list itself, which "
     "only \"set radio\" brings",
     COMMAND_GET_VAP_LIST, false, RADIO_COLUMNS},
    {"radio-stats", "Radios in use", COMMAND_GET_RADIO_STATS, true},
    {"system", "System statistics: identity, load, memory, uptime", COMMAND_GET_SYSTEM_STATS},
    {"settings", "System settings: host name, time zone, logging, time servers",
     COMMAND_GET_SYSTEM},
    {"vaps", "VAP settings", COMMAND_GET_VAP_LIST, true},
    {"lan", "LAN settings; the device connects to the broker again", COMMAND_GET_NETWORK_LAN},
    {"wan", "WAN settings; the device connects to the broker again", COMMAND_GET_NETWORK_WAN},
    {"wan6", "WAN6 settings", COMMAND_GET_NETWORK_WAN6},
    {"maclist", "Upload status of the MAC list of one wifi interface", COMMAND_GET_MACLIST_STATUS},
};

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

/// The list behind a row whose entries are objects, or none.
const RecordList* objects_of(const RecordField& field) {
    const RecordList* const list =
        field.type == RecordFieldType::list ? field.special->list : nullptr;
    return list != nullptr && list->fields[0].has_key() ? list : nullptr;
}

bool has_one_object(const RecordField& field) {
    const RecordList* const list = objects_of(field);
    return list != nullptr && list->room == 1;
}

/// The rows' keys and, behind a list, those of its entries.
void add_keys(std::vector<SettingKey>& keys, RecordTable fields, const std::string& prefix = "") {
    for (const RecordField& field : fields) {
        const RecordList* const list = objects_of(field);
        if (has_one_object(field)) {
            add_keys(keys, list->fields, prefix);
            continue;
        }
        const std::string name = prefix + field.key;
        const bool is_set = qv_is_settable(field);
        keys.push_back({name, limit_of(field),
                        !is_set          ? Use::reported
                        : prefix.empty() ? Use::word
                                         : Use::nested});
        if (is_set && list != nullptr) {
            add_keys(keys, list->fields, name + "[].");
        }
    }
}

/// The object that takes a key of the list's one entry: that entry, made where there is none.
json_object* only_entry(json_object* settings, const char* list_key) {
    if (qv_json_member(settings, list_key) == nullptr) {
        qv_json_add(settings, list_key, JsonPtr(json_object_new_array()));
    }
    json_object* const list = qv_json_member(settings, list_key);
    if (json_object_is_type(list, json_type_array) == 0) {
        return settings;
    }
    if (json_object_array_length(list) == 0) {
        qv_json_append(list, JsonPtr(json_object_new_object()));
    }
    json_object* const entry = json_object_array_get_idx(list, 0);
    return json_object_is_type(entry, json_type_object) != 0 ? entry : settings;
}

constexpr Setting SETTINGS[] = {
    {.name = "settings",
     .help = "System settings",
     .command = COMMAND_SET_SYSTEM,
     .read_command = COMMAND_GET_SYSTEM,
     .check = check_servers},
    {.name = "vap",
     .help = "One VAP, named by ifname",
     .command = COMMAND_SET_VAP_AND_REPORT,
     .read_command = COMMAND_GET_VAP_LIST,
     .entry_key = "ifname"},
    {.name = "radio",
     .help =
         "One radio, named by radio_name, and the security of its first VAP; what is not named is "
         "sent empty",
     .command = COMMAND_SET_RADIO,
     .confirm_command = COMMAND_GET_VAP_LIST,
     .entry_key = "radio_name"},
    {.name = "ap",
     .help = "All radios with all their VAPs; every member must be given",
     .command = COMMAND_SET_APCONFIGS,
     .confirm_command = COMMAND_GET_VAP_LIST},
    {.name = "lan",
     .help = "LAN settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_LAN,
     .read_command = COMMAND_GET_NETWORK_LAN,
     .reading_reconnects = true},
    {.name = "wan",
     .help = "WAN settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_WAN,
     .read_command = COMMAND_GET_NETWORK_WAN,
     .reading_reconnects = true},
    {.name = "wan6",
     .help = "WAN6 settings; the device connects to the broker again",
     .command = COMMAND_SET_NETWORK_WAN6,
     .read_command = COMMAND_GET_NETWORK_WAN6},
    {.name = "maclist",
     .help = "Settings of the MAC lists, or with --delete their removal",
     .command = COMMAND_SET_MACLIST},
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

std::vector<SettingKey> keys_of(const Setting& setting) {
    std::vector<SettingKey> keys;
    add_keys(keys, *setting.contract().fields);
    for (SettingKey& key : keys) {
        const auto* const row = std::ranges::find_if(KEY_MEANINGS, [&](const KeyMeaning& meaning) {
            return meaning.command == setting.command && meaning.key == key.name;
        });
        key.meaning = row == std::end(KEY_MEANINGS) ? "" : row->meaning;
    }
    return keys;
}

std::vector<std::string> words_of(const Setting& setting) {
    std::vector<std::string> words;
    for (const SettingKey& key : keys_of(setting)) {
        if (key.use == Use::word) {
            words.push_back(key.name);
        }
    }
    return words;
}

void put(const Setting& setting, json_object* settings, const std::string& key, JsonPtr value) {
    json_object* object = settings;
    for (const RecordField& field : *setting.contract().fields) {
        if (has_one_object(field) &&
            qv_find_record_field(objects_of(field)->fields, key.c_str()) != nullptr) {
            object = only_entry(settings, field.key);
        }
    }
    qv_json_add(object, key.c_str(), std::move(value));
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
