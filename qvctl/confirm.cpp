#include "confirm.h"

#include "protocol/ap_configs_records.h"
#include "protocol/system_config_record.h"
#include "report_view.h"
#include "secrets.h"
#include "words.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace qvctl {

namespace {

/// Settings by the name that reports have for them.
constexpr std::pair<std::string_view, const char*> REPORTED_AS[] = {{"opmode", "mode"}};
/// Settings with names and numbers for the same thing, which cannot be told apart here.
constexpr std::string_view NAMED_NUMBERS[] = {"channel", "freq", "country", "txpower"};

/// A member that was asked for, and what is reported of its entry.
struct Asked {
    std::string name; ///< with its place in a list
    std::string key;
    std::string value;
    std::vector<json_object*> entries;
};

enum class Verdict { same, different, unknown };

json_object* body_of(std::span<const Report> reports, ReportType type) {
    const auto report = std::ranges::find(reports, type, &Report::type);
    return report == reports.end() ? nullptr : report->body();
}

/// Entries of a reported list that have that value under the key; what is no list has none.
std::vector<json_object*> entries_with(json_object* list, const char* key,
                                       const std::string& value) {
    std::vector<json_object*> found;
    const size_t count =
        json_object_is_type(list, json_type_array) == 0 ? 0 : json_object_array_length(list);
    for (size_t i = 0; i < count; ++i) {
        json_object* const entry = json_object_array_get_idx(list, i);
        if (cell_of(qv_json_member(entry, key)) == value) {
            found.push_back(entry);
        }
    }
    return found;
}

/// VAPs by the name of their radio, in the order of their report.
std::map<std::string, std::vector<json_object*>> vaps_by_radio(std::span<const Report> reports) {
    std::map<std::string, std::vector<json_object*>> vaps;
    json_object* const list = body_of(reports, REPORT_TYPE_UCI_VAP_LIST);
    const size_t count =
        json_object_is_type(list, json_type_array) == 0 ? 0 : json_object_array_length(list);
    for (size_t i = 0; i < count; ++i) {
        json_object* const vap = json_object_array_get_idx(list, i);
        vaps[cell_of(qv_json_member(vap, "device"))].push_back(vap);
    }
    return vaps;
}

/// The row of the list that a table has.
const RecordField& list_in(RecordTable fields) {
    return *std::ranges::find(fields, RecordFieldType::list, &RecordField::type);
}

std::string place(const char* list, size_t index) {
    return std::string(list) + "[" + std::to_string(index) + "].";
}

void add_members(std::vector<Asked>& all, json_object* object, const std::string& prefix,
                 const std::vector<json_object*>& entries) {
    json_object_object_foreach(object, key, value) {
        if (json_object_is_type(value, json_type_array) == 0 ||
            std::string_view(key) == SYSTEM_SERVER_KEY) {
            all.push_back({prefix + key, key, cell_of(value), entries});
        }
    }
}

/// One object of settings, reported as one object.
std::vector<Asked> asked_of_object(const Setting& setting, json_object* asked,
                                   std::span<const Report> reports) {
    std::vector<Asked> all;
    json_object* const body = body_of(reports, setting.contract().answer);
    add_members(all, asked, "", body == nullptr ? std::vector<json_object*>() : std::vector{body});
    return all;
}

/// One entry of a list. What a radio's own report leaves out, the VAP list tells of its first VAP.
std::vector<Asked> asked_of_entry(const Setting& setting, json_object* asked,
                                  std::span<const Report> reports) {
    const std::string name = cell_of(qv_json_member(asked, setting.entry_key));
    const ReportType answer = setting.contract().answer;
    std::vector<json_object*> entries =
        entries_with(body_of(reports, answer), setting.entry_key, name);
    const auto vaps = vaps_by_radio(reports);
    if (const auto own = vaps.find(name); answer != REPORT_TYPE_UCI_VAP_LIST && own != vaps.end()) {
        entries.insert(entries.begin(), own->second.front());
    }
    std::vector<Asked> all;
    add_members(all, asked, "", entries);
    json_object* const nested = qv_json_member(asked, list_in(*setting.contract().fields).key);
    const size_t count = nested == nullptr ? 0 : json_object_array_length(nested);
    for (size_t i = 0; i < count; ++i) {
        add_members(all, json_object_array_get_idx(nested, i), "", entries);
    }
    return all;
}

/// All radios in the order of their names, with all their VAPs in the order of their report.
std::vector<Asked> asked_of_bundle(json_object* asked, std::span<const Report> reports) {
    const RecordField& radio_list = list_in(qv_apconfigs_fields);
    const RecordField& vap_list = list_in(radio_list.special->list->fields);
    const auto reported = vaps_by_radio(reports);
    auto radio = reported.begin();
    std::vector<Asked> all;
    json_object* const radios = qv_json_member(asked, radio_list.key);
    for (size_t i = 0; i < json_object_array_length(radios); ++i) {
        const std::vector<json_object*> vaps =
            radio == reported.end() ? std::vector<json_object*>() : (radio++)->second;
        json_object* const entry = json_object_array_get_idx(radios, i);
        const std::string prefix = place(radio_list.key, i);
        add_members(all, entry, prefix, vaps);
        json_object* const list = qv_json_member(entry, vap_list.key);
        for (size_t j = 0; j < json_object_array_length(list); ++j) {
            add_members(all, json_object_array_get_idx(list, j), prefix + place(vap_list.key, j),
                        j < vaps.size() ? std::vector{vaps[j]} : std::vector<json_object*>());
        }
    }
    return all;
}

std::vector<Asked> all_asked(const Setting& setting, json_object* asked,
                             std::span<const Report> reports) {
    if (setting.entry_key != nullptr) {
        return asked_of_entry(setting, asked, reports);
    }
    return setting.command == COMMAND_SET_APCONFIGS ? asked_of_bundle(asked, reports)
                                                    : asked_of_object(setting, asked, reports);
}

/// `held` becomes what is reported, where anything is.
Verdict judge(const Asked& asked, std::string& held) {
    const auto* const alias = std::ranges::find(REPORTED_AS, std::string_view(asked.key),
                                                &std::pair<std::string_view, const char*>::first);
    const char* const key = alias == std::end(REPORTED_AS) ? asked.key.c_str() : alias->second;
    const bool has_names = std::ranges::find(NAMED_NUMBERS, asked.key) != std::end(NAMED_NUMBERS);
    Verdict verdict = Verdict::unknown;
    for (json_object* const entry : asked.entries) {
        json_object* const value = qv_json_member(entry, key);
        if (value == nullptr) {
            continue;
        }
        const std::string reported = cell_of(value);
        if (reported == asked.value) {
            return Verdict::same;
        }
        if (!has_names || is_digits(reported) == is_digits(asked.value) || asked.value.empty()) {
            held = reported;
            verdict = Verdict::different;
        }
    }
    return verdict;
}

} // namespace

ExitStatus confirm(const Setting& setting, json_object* asked, std::span<const Report> reports,
                   const Options& options) {
    bool differs = false;
    std::string same;
    std::string unknown;
    const auto add = [](std::string& names, const std::string& name) {
        names += (names.empty() ? "" : ", ") + name;
    };
    for (const Asked& member : all_asked(setting, asked, reports)) {
        std::string held;
        switch (judge(member, held)) {
        case Verdict::same: add(same, member.name); break;
        case Verdict::unknown: add(unknown, member.name); break;
        case Verdict::different:
            differs = true;
            fprintf(stderr,
                    "qvctl: not taken over: %s: asked for \"%s\", the device holds \"%s\"\n",
                    member.name.c_str(),
                    printable_value(member.key, member.value, options.show_secrets).c_str(),
                    printable_value(member.key, held, options.show_secrets).c_str());
        }
    }
    if (!same.empty()) {
        fprintf(stderr, "confirmed: %s\n", same.c_str());
    }
    if (!unknown.empty()) {
        fprintf(stderr, "qvctl: not confirmed, since no report tells: %s\n", unknown.c_str());
    }
    return differs ? REFUSED : unknown.empty() ? ANSWERED : UNCONFIRMED;
}

} // namespace qvctl
