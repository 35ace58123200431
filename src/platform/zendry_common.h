// The maker's support library, libzendry_common.so, as far as the agent calls it.
//
// Everything outside the agent that belongs to the device (wifi manager, configuration store,
// firmware download) is reached through these calls alone. All texts are NUL-terminated. Unless a
// call says otherwise it may be made from any thread.
#ifndef QV_PLATFORM_ZENDRY_COMMON_H
#define QV_PLATFORM_ZENDRY_COMMON_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Room for a broker host with its terminating NUL.
#define BROKER_HOST_SIZE 24

/// Address of the MQTT broker, as the configuration store holds it.
typedef struct BrokerConfig {
    int32_t port;                ///< TCP port
    char host[BROKER_HOST_SIZE]; ///< host name or IPv4 address
} BrokerConfig;

/// Sends one request to the wifi manager and waits for its reply, which is written to reply_buffer
/// (at most reply_capacity bytes). Returns 0 when a reply was written; otherwise, at the latest
/// after 5 seconds, reply_buffer is as it was.
int32_t qv_ctrl_send_wifi_mgr_msg(const void* request, uint32_t request_length, void* reply_buffer,
                                  uint32_t reply_capacity);

/// Opens the configuration store for the calling thread. A package belongs to it from its first use
/// until uciDestroy: others wait for it, at most 5 seconds, after which their call fails. Returns 0
/// when the store can be used; after any other result the calls below fail and uciDestroy does
/// nothing.
int32_t uciInit(void);

/// Closes what uciInit opened; changes that were not committed are forgotten.
void uciDestroy(void);

/// Set or delete one option. A section is addressed by its name or, anonymous or not, as
/// "@type[n]", the nth section of that type counted from 0. Both return 0 on success; deleting an
/// option that is not there is a failure that changes nothing.
int32_t uciSet(const char* package, const char* section, const char* option, const char* value);
int32_t uciDelete(const char* package, const char* section, const char* option);

/// Writes a package back. Returns 0 when the new file, whole, stands in place of the old one.
int32_t uciCommit(const char* package);

/// Returns -1 when the package has no section of this type and name, 0 when it has one, and any
/// other value when the package cannot be read. A broker entry without host and port counts as
/// none.
int32_t uciSectionExist(const char* package, const char* section, const char* name);

/// The broker entry of package "system": section "conf", name "broker". These calls open, commit
/// and close the store themselves and must not be made between uciInit and uciDestroy. They return
/// 0 on success. A new entry is added and then set; only then it is sure to be in the store. A host
/// that does not fit or a port outside 1 to 65535 is neither stored nor read back; settings is then
/// as it was. A section of another type with that name stays as it is.
int32_t uci_add_section_system_config(const char* section, const char* name);
int32_t uci_set_system_broker_config(const char* name, BrokerConfig settings);
int32_t uci_get_system_broker_config(const char* name, BrokerConfig* settings);

/// Records the connection status in the entry, if there is one: 0 not connected, 1 connected.
int32_t uci_set_system_broker_status(int32_t status);

/// Fetches the named file from the download server to "/tmp/qv_firmware.img". Returns 0 when the
/// whole file is there, any other value otherwise; an older image is gone in either case.
int32_t file_request(const char* server, int32_t port, const char* file_name);

#ifdef __cplusplus
}
#endif

#endif
