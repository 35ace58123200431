#include "settings_words.h"

#include "failure.h"
#include "file.h"
#include "protocol/record_walk.h"
#include "report_view.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace qvctl {

namespace {

JsonPtr parse(const std::string& what, const std::string& text) {
    json_tokener_error error = json_tokener_success;
    JsonPtr value(json_tokener_parse_verbose(text.c_str(), &error));
    if (value == nullptr) {
        throw Failure(USAGE, what + ": " + json_tokener_error_desc(error));
    }
    return value;
}

/// What is wrapped as in a command, in a report or under the one key that both have.
json_object* unwrapped(const Setting& setting, json_object* value) {
    const std::vector<std::string> words = words_of(setting);
    while (json_object_is_type(value, json_type_object) != 0) {
        json_object* inner = qv_json_member(value, "data");
        if (inner == nullptr && json_object_object_length(value) == 1) {
            const json_object_iterator only = json_object_iter_begin(value);
            const bool is_key =
                std::ranges::find(words, json_object_iter_peek_name(&only)) != words.end();
            inner = is_key ? nullptr : json_object_iter_peek_value(&only);
        }
        if (inner == nullptr) {
            return value;
        }
        value = inner;
    }
    return value;
}

/// The entry of a list that is meant: the one of that name or, without a name, the only one.
json_object* entry_of(const Setting& setting, json_object* list, const std::string& name,
                      const std::string& file) {
    std::string names;
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
        json_object* const entry = json_object_array_get_idx(list, i);
        const std::string own = cell_of(qv_json_member(entry, setting.entry_key));
        if (own == name || (name.empty() && json_object_array_length(list) == 1)) {
            return entry;
        }
        names += (names.empty() ? "" : ", ") + own;
    }
    throw Failure(USAGE, file + ": holds " + (names.empty() ? "none" : names) +
                             (name.empty() ? ": name one before the file" : ", and no " + name));
}

JsonPtr settings_of_file(const Setting& setting, const std::string& file, const std::string& name) {
    const JsonPtr root = parse(file, read_file(file));
    json_object* value = unwrapped(setting, root.get());
    if (json_object_is_type(value, json_type_array) != 0 && setting.entry_key != nullptr) {
        value = entry_of(setting, value, name, file);
    }
    if (json_object_is_type(value, json_type_object) == 0) {
        throw Failure(USAGE, file + ": holds no JSON object with settings");
    }
    for (const SettingKey& key : keys_of(setting)) {
        if (key.use == SettingKey::Use::reported) { // an entry as a report has it
            json_object_object_del(value, key.name.c_str());
        }
    }
    return JsonPtr(json_object_get(value));
}

JsonPtr text_value(std::string_view text) {
    return JsonPtr(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

/// "a,b" as a list; nothing is an empty one.
JsonPtr split(std::string_view text) {
    JsonPtr list(json_object_new_array());
    while (!text.empty()) {
        const size_t end = std::min(text.find(','), text.size());
        qv_json_append(list.get(), text_value(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return list;
}

/// A text may begin with a bracket, too; only lists are read as JSON.
JsonPtr value_of(const Setting& setting, const std::string& key, const std::string& text) {
    const RecordField* const field = qv_find_record_field(*setting.contract().fields, key.c_str());
    if (field == nullptr || field->type != RecordFieldType::list || !qv_is_settable(*field)) {
        return text_value(text);
    }
    const bool has_scalars = !field->special->list->fields[0].has_key();
    return has_scalars && !text.starts_with('[') ? split(text) : parse(key, text);
}

/// Whether the word names an entry: a word that looks like a file, or is one, does not.
bool is_entry_name(const Setting& setting, const std::string& word) {
    return setting.entry_key != nullptr && word.find_first_of("=/") == word.npos && word != "-" &&
           !word.ends_with(".json") && access(word.c_str(), F_OK) != 0;
}

} // namespace

JsonPtr read_settings(const Setting& setting, const std::vector<std::string>& words) {
    std::span<const std::string> rest = words;
    std::string name;
    if (is_entry_name(setting, rest.front())) {
        name = rest.front();
        rest = rest.subspan(1);
    }
    JsonPtr given(json_object_new_object());
    for (const std::string& word : rest) {
        const size_t equals = word.find('=');
        if (equals != word.npos) {
            const std::string key = word.substr(0, equals);
            put(setting, given.get(), key, value_of(setting, key, word.substr(equals + 1)));
        } else if (&word == &rest.front()) {
            given = settings_of_file(setting, word, name);
        } else {
            throw Failure(USAGE, word + ": only the first word may name a file, the others are "
                                        "key=value");
        }
    }
    if (!name.empty()) {
        put(setting, given.get(), setting.entry_key, text_value(name));
    }
    return given;
}

} // namespace qvctl
