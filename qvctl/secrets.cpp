#include "secrets.h"

#include <algorithm>
#include <vector>

namespace qvctl {

namespace {

constexpr std::string_view SECRETS[] = {"key", "key1", "key2", "key3", "key4", "sae_password"};

bool is_text(json_object* value, std::string_view text) {
    return json_object_is_type(value, json_type_string) != 0 &&
           json_object_get_string(value) == text;
}

void hide_in(json_object* value) {
    if (json_object_is_type(value, json_type_array) != 0) {
        for (size_t i = 0; i < json_object_array_length(value); ++i) {
            hide_in(json_object_array_get_idx(value, i));
        }
    } else if (json_object_is_type(value, json_type_object) != 0) {
        json_object_object_foreach(value, key, member) {
            if (!is_secret(key)) {
                hide_in(member);
            } else if (!is_text(member, "")) {
                qv_json_add(value, key, JsonPtr(json_object_new_string(HIDDEN.data())));
            }
        }
    }
}

std::vector<std::string> hidden_in(json_object* object) {
    std::vector<std::string> keys;
    json_object_object_foreach(object, key, member) {
        if (is_secret(key) && is_text(member, HIDDEN)) {
            keys.emplace_back(key);
        }
    }
    return keys;
}

} // namespace

bool is_secret(std::string_view key) {
    return std::ranges::find(SECRETS, key) != std::end(SECRETS);
}

Report printable_report(const Report& report, bool show_secrets) {
    Report shown{.text = report.text, .type = report.type, .macaddr = report.macaddr};
    json_object* copy = nullptr;
    if (report.root != nullptr && json_object_deep_copy(report.root.get(), &copy, nullptr) == 0) {
        shown.root.reset(copy);
        if (!show_secrets) {
            hide_in(copy);
        }
    }
    return shown;
}

std::string printable_value(std::string_view key, const std::string& value, bool show_secrets) {
    return is_secret(key) && !show_secrets && !value.empty() ? std::string(HIDDEN) : value;
}

std::string first_hidden(json_object* settings) {
    if (json_object_is_type(settings, json_type_array) != 0) {
        for (size_t i = 0; i < json_object_array_length(settings); ++i) {
            if (std::string found = first_hidden(json_object_array_get_idx(settings, i));
                !found.empty()) {
                return found;
            }
        }
        return "";
    }
    if (json_object_is_type(settings, json_type_object) == 0) {
        return "";
    }
    for (const std::string& key : hidden_in(settings)) {
        return key;
    }
    json_object_object_foreach(settings, key, member) {
        (void)key;
        if (std::string found = first_hidden(member); !found.empty()) {
            return found;
        }
    }
    return "";
}

void drop_hidden(json_object* settings) {
    for (const std::string& key : hidden_in(settings)) {
        json_object_object_del(settings, key.c_str());
    }
}

} // namespace qvctl
