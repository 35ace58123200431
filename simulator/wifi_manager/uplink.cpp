#include "uplink.h"

#include "json/text.h"
#include "platform/scoped_fd.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <net/if.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

/// Whether "<member>.<key>=<text>" is so.
bool is_set(const AccessPoint& ap, std::string_view setting) {
    const size_t dot = std::min(setting.find('.'), setting.size());
    const size_t equals = std::min(setting.find('=', dot), setting.size());
    const auto* const member =
        std::ranges::find(STATE_MEMBERS, setting.substr(0, dot), &StateMember::name);
    if (equals == setting.size() || member == std::end(STATE_MEMBERS) ||
        member->fields == nullptr) {
        return false;
    }
    const std::string_view key = setting.substr(dot + 1, equals - dot - 1);
    const auto field = std::ranges::find(*member->fields, key, &RecordField::key_text);
    if (field == member->fields->end() || field->type != RecordFieldType::text) {
        return false;
    }
    const auto bytes = qv_record_bytes(ap).subspan(member->offset + field->offset, field->width);
    const auto* const text = reinterpret_cast<const char*>(bytes.data());
    return qv_field_text({text, bytes.size()}) == setting.substr(equals + 1);
}

bool is_cut_off(const AccessPoint& ap, const std::string& control_file) {
    std::ifstream lines(control_file);
    std::string which, setting;
    while (lines >> which >> setting) {
        if (which == "cuts" && is_set(ap, setting)) {
            return true;
        }
    }
    return false;
}

void set_interface(const std::string& name, bool up) {
    const ScopedFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    qv_set_field_text(request.ifr_name, name);
    bool done = ioctl(socket.get(), SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags =
        static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
    done = done && ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
    std::printf("uplink %s %s%s\n", name.c_str(), up ? "up" : "down", done ? "" : ": refused");
}

} // namespace

void qv_follow_settings(Uplink& uplink, const AccessPoint& ap, const std::string& control_file) {
    const bool cut_off = is_cut_off(ap, control_file);
    if (cut_off != uplink.cut_off) {
        uplink.cut_off = cut_off;
        set_interface(uplink.interface, !cut_off);
    }
}
