#include "faults.h"

#include "protocol/wifi_manager.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <utility>

namespace {

constexpr size_t SHORT_RECORD = 16;
constexpr size_t LONG_REPLY = 65536; // above every capacity offered

constexpr std::array<std::pair<std::string_view, Fault>, 6> FAULTS = {{
    {"refuse", Fault::refuse},
    {"silent", Fault::silent},
    {"wrong-id", Fault::wrong_id},
    {"short", Fault::short_reply},
    {"long", Fault::long_reply},
    {"close", Fault::closes},
}};

void reload(Faults& faults) {
    faults.lines.clear();
    std::ifstream file(faults.file.path());
    for (std::string which, word; file >> which >> word;) {
        faults.lines.emplace_back(which, word);
    }
}

} // namespace

Fault qv_find_fault(Faults& faults, uint8_t id) {
    if (faults.file.has_changed()) {
        reload(faults);
    }
    for (const auto& [which, word] : faults.lines) {
        if (which != "all" && which != std::to_string(id)) {
            continue;
        }
        const auto* const row =
            std::ranges::find(FAULTS, word, &std::pair<std::string_view, Fault>::first);
        if (row != FAULTS.end()) {
            return row->second;
        }
        std::printf("unknown fault %s\n", word.c_str());
    }
    return Fault::none;
}

bool qv_ignores_request(Fault fault) {
    return fault == Fault::refuse || fault == Fault::silent || fault == Fault::closes;
}

void qv_spoil_reply(Reply& reply, Fault fault) {
    switch (fault) {
    case Fault::wrong_id: reply[offsetof(WifiMgrMsg, msg_id)] ^= std::byte{0x80}; break;
    case Fault::short_reply:
        reply.resize(std::min(reply.size(), sizeof(WifiMgrMsg) + SHORT_RECORD));
        break;
    case Fault::long_reply: reply.resize(LONG_REPLY, std::byte{0x41}); break;
    case Fault::none:
    case Fault::refuse:
    case Fault::silent:
    case Fault::closes: break;
    }
}
