// What the broker's entry is; its calls are in platform/zendry_common.h.
#ifndef QV_PLATFORM_ZENDRY_COMMON_BROKER_SETTINGS_H
#define QV_PLATFORM_ZENDRY_COMMON_BROKER_SETTINGS_H

#include "platform/zendry_common/uci_document.h"

#include <string_view>

namespace zendry {

constexpr const char* BROKER_PACKAGE = "system";
constexpr const char* BROKER_SECTION_TYPE = "conf";

/// Whether package "system" has the broker's entry of that name. A section with neither host nor
/// port is none: it leads nowhere, and nobody would fill what passes for configured.
bool has_broker_entry(const UciDocument& system, std::string_view name);

} // namespace zendry

#endif
