#include "stored_notes.h"

#include "platform/scoped_fd.h"
#include "platform/zendry_common/file_io.h"
#include "platform/zendry_common/uci_document.h"

#include <fcntl.h>
#include <utility>

std::string qv_read_stored_notes(const std::string& package_file) {
    const ScopedFd file(open(package_file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    zendry::UciDocument package;
    zendry::UciError error;
    if (!file.valid() || zendry::read_all(file.get(), zendry::UCI_MAX_SIZE, text) != 0 ||
        !package.parse(std::move(text), error)) {
        return "";
    }
    return std::string(package.value("@system[0]", "equipment_notes").value_or(""));
}
