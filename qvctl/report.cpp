#include "report.h"

#include "words.h"

namespace qvctl {

std::string Report::member(const char* key) const {
    json_object* const value = qv_json_member(root.get(), key);
    return value == nullptr ? "" : json_object_get_string(value);
}

json_object* Report::body() const {
    json_object* const data = qv_json_member(root.get(), "data");
    if (json_object_is_type(data, json_type_object) == 0 || json_object_object_length(data) == 0) {
        return nullptr;
    }
    const json_object_iterator first = json_object_iter_begin(data);
    return json_object_iter_peek_value(&first);
}

Report read_report(std::string text) {
    Report report{.text = std::move(text)};
    report.root.reset(json_tokener_parse(report.text.c_str()));
    if (json_object_is_type(report.root.get(), json_type_object) == 0) {
        report.root.reset();
        return report;
    }
    report.type = json_object_get_int(qv_json_member(report.root.get(), "type"));
    report.macaddr = lower_case(report.member("macaddr"));
    return report;
}

} // namespace qvctl
