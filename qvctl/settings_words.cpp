#include "settings_words.h"

#include "failure.h"
#include "protocol/system_config_record.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

namespace qvctl {

namespace {

struct FileCloser {
    void operator()(FILE* file) const {
        if (file != stdin) {
            fclose(file);
        }
    }
};

std::string read_file(const std::string& name) {
    const std::unique_ptr<FILE, FileCloser> file(name == "-" ? stdin : fopen(name.c_str(), "re"));
    if (file == nullptr) {
        throw Failure(USAGE, name + ": " + strerror(errno));
    }
    std::string text;
    char chunk[4096];
    size_t size = 0;
    while ((size = fread(chunk, 1, sizeof chunk, file.get())) > 0) {
        text.append(chunk, size);
    }
    if (ferror(file.get()) != 0) {
        throw Failure(USAGE, name + ": " + strerror(errno));
    }
    return text;
}

JsonPtr parse(const std::string& what, const std::string& text) {
    json_tokener_error error = json_tokener_success;
    JsonPtr value(json_tokener_parse_verbose(text.c_str(), &error));
    if (value == nullptr) {
        throw Failure(USAGE, what + ": " + json_tokener_error_desc(error));
    }
    return value;
}

JsonPtr settings_of_file(const Setting& setting, const std::string& name) {
    JsonPtr root = parse(name, read_file(name));
    json_object* const wrapped = qv_json_path(root.get(), {"data", setting.key});
    JsonPtr settings = wrapped == nullptr ? std::move(root) : JsonPtr(json_object_get(wrapped));
    if (json_object_is_type(settings.get(), json_type_object) == 0) {
        throw Failure(USAGE, name + ": holds no JSON object with settings");
    }
    return settings;
}

/// A text may begin with a bracket, too; only lists are read as JSON.
JsonPtr value_of(const std::string& key, const std::string& text) {
    constexpr std::string_view LISTS[] = {SYSTEM_SERVER_KEY, "radio_list", "vap_list"};
    return std::ranges::find(LISTS, key) != std::end(LISTS)
               ? parse(key, text)
               : JsonPtr(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

} // namespace

GivenSettings read_settings(const Setting& setting, const std::vector<std::string>& words) {
    GivenSettings given{.object = JsonPtr(json_object_new_object())};
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        if (equals != word.npos) {
            const std::string key = word.substr(0, equals);
            setting.put(given.object.get(), key, value_of(key, word.substr(equals + 1)));
        } else if (&word == &words.front()) {
            given.object = settings_of_file(setting, word);
            given.from_file = true;
        } else {
            throw Failure(USAGE, word + ": only the first word may name a file, the others are "
                                        "key=value");
        }
    }
    return given;
}

} // namespace qvctl
