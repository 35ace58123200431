#include "protocol/upgrade.h"

namespace {

template <auto member>
std::span<char> field(FwParams& params) {
    return params.*member;
}

/// In the order of reading.
constexpr FwField FIELDS[] = {
    {"image_name", field<&FwParams::image_name>},   {"md5sum", field<&FwParams::md5sum>},
    {"server_ip", field<&FwParams::server_ip>},     {"server_port", field<&FwParams::server_port>},
    {"save_config", field<&FwParams::save_config>}, {"reboot", field<&FwParams::reboot>},
};

} // namespace

const std::span<const FwField> qv_fw_fields = FIELDS;
