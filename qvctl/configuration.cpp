#include "configuration.h"

#include "failure.h"
#include "file.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace qvctl {

namespace {

constexpr const char* BLANKS = " \t\r";

std::string path() {
    const char* const folder = getenv("XDG_CONFIG_HOME");
    if (folder != nullptr && *folder != '\0') {
        return std::string(folder) + "/qvctl";
    }
    const char* const home = getenv("HOME");
    return home == nullptr ? "" : std::string(home) + "/.config/qvctl";
}

std::string without_blanks_around(const std::string& text) {
    const size_t begin = text.find_first_not_of(BLANKS);
    return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

void take(CLI::App& app, const std::string& line) {
    const size_t end = line.find_first_of(BLANKS);
    CLI::Option* const option = app.get_option_no_throw(line.substr(0, end));
    if (option == nullptr || !option->get_configurable()) {
        throw Failure(USAGE, line.substr(0, end) + " is unknown");
    }
    const std::string value = end == line.npos ? "" : without_blanks_around(line.substr(end));
    const bool is_flag = option->get_expected_max() == 0;
    if (is_flag != value.empty()) {
        throw Failure(USAGE,
                      line.substr(0, end) + (is_flag ? " takes no value" : " needs a value"));
    }
    option->add_result(is_flag ? "true" : value);
    option->run_callback();
    option->clear(); // not given: the environment may still say otherwise
}

} // namespace

void read_configuration(CLI::App& app) {
    const std::string name = path();
    if (name.empty() || access(name.c_str(), F_OK) != 0) {
        return;
    }
    const std::string text = read_file(name);
    int number = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = without_blanks_around(text.substr(at, end - at));
        at = end + 1;
        ++number;
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        try {
            take(app, line);
        } catch (const std::runtime_error& error) {
            throw Failure(USAGE, name + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
}

} // namespace qvctl
