#include "report_view.h"

#include "terminal.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace qvctl {

namespace {

std::vector<const char*> keys_of(json_object* object) {
    std::vector<const char*> keys;
    json_object_object_foreach(object, key, value) {
        (void)value;
        keys.push_back(key);
    }
    return keys;
}

std::vector<std::string> object_lines(json_object* object, const Style& style) {
    const std::vector<const char*> keys = keys_of(object);
    std::vector<std::string> lines;
    lines.reserve(keys.size());
    size_t width = 0;
    for (const char* const key : keys) {
        width = std::max(width, columns_of(printable(key)));
    }
    for (const char* const key : keys) {
        lines.push_back(style.paint(Paint::faint, fitted(printable(key), width)) + "  " +
                        cell_of(qv_json_member(object, key)));
    }
    return lines;
}

std::vector<std::string> entry_lines(json_object* list, const Style& style) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
        if (i > 0) {
            lines.emplace_back();
        }
        std::ranges::move(object_lines(json_object_array_get_idx(list, i), style),
                          std::back_inserter(lines));
    }
    return lines;
}

bool is_list_of_objects(json_object* value) {
    if (json_object_is_type(value, json_type_array) == 0) {
        return false;
    }
    for (size_t i = 0; i < json_object_array_length(value); ++i) {
        if (json_object_is_type(json_object_array_get_idx(value, i), json_type_object) == 0) {
            return false;
        }
    }
    return true;
}

/// Takes columns from the right until the table fits. Returns how many are left.
size_t narrow(std::vector<std::vector<std::string>>& rows, size_t columns) {
    const auto is_too_wide = [columns](const std::string& line) {
        return columns_of(line) > columns;
    };
    while (columns > 0 && rows[0].size() > 1 && std::ranges::any_of(align(rows), is_too_wide)) {
        for (std::vector<std::string>& row : rows) {
            row.pop_back();
        }
    }
    return rows[0].size();
}

/// Names the members that a table does not show; empty when it shows them all.
std::string left_out(std::span<const char* const> all, std::span<const char* const> shown) {
    std::string names;
    size_t count = 0;
    for (const char* const key : all) {
        if (std::ranges::find(shown, std::string_view(key)) == shown.end()) {
            names += (names.empty() ? "" : ", ") + printable(key);
            ++count;
        }
    }
    return count == 0 ? ""
                      : "left out, see get --all: " + std::to_string(count) +
                            (count == 1 ? " member: " : " members: ") + names;
}

/// The members that a table of such reports has; none for all that they have.
std::span<const char* const> columns_for(const Report& report) {
    const ReportKind* const kind = find_report_kind(report.type);
    return kind == nullptr ? std::span<const char* const>() : kind->columns;
}

} // namespace

bool holds_nothing(json_object* value) {
    if (json_object_is_type(value, json_type_object) == 0) {
        const std::string text = cell_of(value);
        return text.empty() || text == "0" || text == "[ ]" || text == "null";
    }
    json_object_object_foreach(value, key, member) {
        (void)key;
        if (!holds_nothing(member)) {
            return false;
        }
    }
    return true;
}

std::string cell_of(json_object* value) {
    const char* const text = json_object_is_type(value, json_type_string) != 0
                                 ? json_object_get_string(value)
                                 : json_object_to_json_string(value);
    return printable(text == nullptr ? "" : text);
}

std::vector<std::string> list_lines(json_object* list, std::span<const char* const> columns,
                                    const Style& style) {
    const size_t count = json_object_array_length(list);
    if (count == 0) {
        return {style.paint(Paint::faint, "none")};
    }
    std::vector<const char*> all = keys_of(json_object_array_get_idx(list, 0));
    std::vector<const char*> keys(columns.begin(), columns.end());
    if (keys.empty()) {
        keys = all;
    }
    std::vector<std::vector<std::string>> rows{{}};
    for (const char* const key : keys) {
        rows[0].push_back(printable(key));
    }
    for (size_t i = 0; i < count; ++i) {
        rows.emplace_back();
        for (const char* const key : keys) {
            json_object* const value = qv_json_member(json_object_array_get_idx(list, i), key);
            rows.back().push_back(value == nullptr ? "" : cell_of(value));
        }
    }
    keys.resize(narrow(rows, style.columns));
    std::vector<std::string> lines = align(rows);
    lines[0] = style.paint(Paint::faint, lines[0]);
    const std::string rest = left_out(all, keys);
    if (style.columns > 0 && !rest.empty()) {
        lines.push_back(style.paint(Paint::faint, shortened(rest, style.columns, style)));
    }
    return lines;
}

std::vector<std::string> body_lines(const Report& report, bool all, const Style& style) {
    json_object* const body = report.body();
    if (is_list_of_objects(body)) {
        return all && json_object_array_length(body) > 0
                   ? entry_lines(body, style)
                   : list_lines(body, columns_for(report), style);
    }
    if (json_object_is_type(body, json_type_object) != 0) {
        return object_lines(body, style);
    }
    if (report.type == REPORT_TYPE_UPDATA_STATS && json_object_is_type(body, json_type_int) != 0) {
        return {cell_of(body) + ": " + upgrade_status_text(json_object_get_int(body))};
    }
    return {body == nullptr ? printable(report.text) : cell_of(body)};
}

void note_left_out(const Report& report, const Style& style) {
    const std::span<const char* const> columns = columns_for(report);
    json_object* const body = report.body();
    if (style.columns > 0 || columns.empty() || !is_list_of_objects(body) ||
        json_object_array_length(body) == 0) {
        return;
    }
    const std::string text = left_out(keys_of(json_object_array_get_idx(body, 0)), columns);
    if (!text.empty()) {
        fprintf(stderr, "note: %s\n", text.c_str());
    }
}

JsonPtr distinct_entries(json_object* list, std::span<const char* const> columns) {
    JsonPtr entries(json_object_new_array());
    std::set<std::string> seen;
    const size_t count =
        json_object_is_type(list, json_type_array) == 0 ? 0 : json_object_array_length(list);
    for (size_t i = 0; i < count; ++i) {
        json_object* const entry = json_object_array_get_idx(list, i);
        if (!seen.insert(cell_of(qv_json_member(entry, columns[0]))).second) {
            continue;
        }
        JsonPtr shown(json_object_new_object());
        for (const char* const key : columns) {
            qv_json_add(shown.get(), key, JsonPtr(json_object_get(qv_json_member(entry, key))));
        }
        qv_json_append(entries.get(), std::move(shown));
    }
    return entries;
}

std::string json_line(const Report& report) {
    const JsonPtr text(
        json_object_new_string_len(report.text.data(), static_cast<int>(report.text.size())));
    return json_object_to_json_string_ext(report.root == nullptr ? text.get() : report.root.get(),
                                          JSON_C_TO_STRING_PLAIN);
}

void print_lines(const std::vector<std::string>& lines, const char* indent) {
    for (const std::string& line : lines) {
        printf("%s%s\n", line.empty() ? "" : indent, line.c_str());
    }
    check_output();
}

} // namespace qvctl
