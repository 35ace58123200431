// Stand-in for the maker's support library, where that library is not at hand: on a desk, in
// tests and in the simulated access point. It offers every call of platform/zendry_common.h.
//
//   uci_reader, uci_document   text of a UCI file: words and statements, and edits in place
//   uci_session, uci_calls     the store over those files, and the uci* calls
//   broker_settings            section "conf" 'broker' of package "system"
//   wifi_channel               one request and one reply over the wifi manager's socket
//   download                   the firmware image over HTTP
//   locked_file                a file that others edit too: locked, and replaced in one step
//   file_io                    opened files: read and written whole
//
// Files and sockets, each below the folder that the environment variable ZENDRY_ROOT names (not
// set: the real root), so that none of this needs root rights:
//
//   /etc/qvagent                 the agent's own folder
//   /etc/config/<package>        the configuration store, each file locked with flock
//   /var/run/wifi_manager.sock   the wifi manager, SOCK_SEQPACKET
//
// The downloaded image is the exception: it is always "/tmp/qv_firmware.img", because the agent
// and the flashing tools read it under that name.
#ifndef QV_PLATFORM_ZENDRY_COMMON_PATHS_H
#define QV_PLATFORM_ZENDRY_COMMON_PATHS_H

#include <string>
#include <string_view>

namespace zendry {

/// The absolute path given, below ZENDRY_ROOT.
std::string rooted(std::string_view path);

} // namespace zendry

#endif
