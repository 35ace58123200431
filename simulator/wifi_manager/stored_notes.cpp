#include "stored_notes.h"

#include "json/text.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common/file_io.h"
#include "platform/zendry_common/uci_document.h"

#include <fcntl.h>
#include <string_view>
#include <utility>

void qv_show_stored_notes(SystemStats& system, const std::string& package_file) {
    // Without the store's lock, which may be held for long. The store replaces its files, so of its
    // edits all is seen or nothing. What another program rewrites in place may be seen half done;
    // the next statistics have the rest.
    const ScopedFd file(open(package_file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    zendry::UciDocument package;
    zendry::UciError error;
    if (!file.valid() || zendry::read_all(file.get(), zendry::UCI_MAX_SIZE, text) != 0 ||
        !package.parse(std::move(text), error)) {
        return;
    }
    const std::string_view notes =
        package.value("@system[0]", "equipment_notes").value_or(std::string_view());
    if (!notes.empty()) {
        qv_set_field_text(system.equipment_notes, notes);
    }
}
