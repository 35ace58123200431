#include "checks.h"
#include "dialogue.h"
#include "report_view.h"
#include "secrets.h"
#include "verbs.h"
#include "wireless/maclist.h"

#include <cstdio>

namespace qvctl {

namespace {

JsonPtr data_of(const Reading& reading, const Arguments& arguments) {
    if (!reading.takes_index) {
        return nullptr;
    }
    const std::string index = arguments.text.empty() ? "0" : arguments.text;
    check_text("index", index, MACLIST_INDEX_MAX);
    return new_object("general_data", JsonPtr(json_object_new_string(index.c_str())));
}

void show(const Report& report, const Options& options, const Arguments& arguments,
          const Reading& reading) {
    const Style style = Style::of_output(options);
    if (options.json) {
        puts(json_line(report).c_str());
    } else if (!reading.distinct.empty()) {
        print_lines(list_lines(distinct_entries(report.body(), reading.distinct).get(),
                               reading.distinct, style));
    } else {
        print_lines(body_lines(report, arguments.all, style));
    }
}

} // namespace

ExitStatus list_devices(const Options& options, const Arguments& /*arguments*/) {
    Session session(options);
    const DevicesSeen devices = listen(session, options.timeout_or(options.listen));
    JsonPtr list(json_object_new_array());
    for (const auto& [macaddr, seen] : devices) {
        JsonPtr device(json_object_new_object());
        const auto add = [&device](const char* key, const std::string& text) {
            qv_json_add(device.get(), key, JsonPtr(json_object_new_string(text.c_str())));
        };
        add("macaddr", macaddr);
        add("ip", seen.ip);
        add("hwname", seen.hwname);
        add("fwname", seen.fwname);
        add("state", seen.announcing ? "announcing" : "reporting");
        qv_json_append(list.get(), std::move(device));
    }
    if (options.json) {
        puts(json_object_to_json_string_ext(list.get(), JSON_C_TO_STRING_PLAIN));
    } else {
        print_lines(list_lines(list.get(), {}, Style::of_output(options)));
    }
    return devices.empty() ? NO_ANSWER : ANSWERED;
}

ExitStatus get(const Options& options, const Arguments& arguments, const Reading& reading) {
    const JsonPtr command = new_command(reading.command, data_of(reading, arguments));
    Session session(options);
    const std::string device = choose_device(session, options);
    const Report report =
        ask(session, device, command.get(), reading.report, options.timeout_or(ANSWER_TIMEOUT));
    show(printable_report(report, options.show_secrets), options, arguments, reading);
    return ANSWERED;
}

ExitStatus list_keys(const Options& options, const Setting& setting) {
    JsonPtr list(json_object_new_array());
    for (const SettingKey& key : setting.keys()) {
        if (key.use == SettingKey::Use::reported) {
            continue;
        }
        JsonPtr entry(json_object_new_object());
        qv_json_add(entry.get(), "key", JsonPtr(json_object_new_string(key.name.c_str())));
        qv_json_add(entry.get(), "limit", JsonPtr(json_object_new_string(key.limit.c_str())));
        qv_json_append(list.get(), std::move(entry));
    }
    if (options.json) {
        puts(json_object_to_json_string_ext(list.get(), JSON_C_TO_STRING_PLAIN));
    } else {
        print_lines(list_lines(list.get(), {}, Style::of_output(options)));
    }
    return ANSWERED;
}

} // namespace qvctl
