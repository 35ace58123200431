// Device identity: MAC and IPv4 address of the LAN bridge.
#ifndef QV_AGENT_IDENTITY_H
#define QV_AGENT_IDENTITY_H

#include <cstdint>

struct AgentContext;

inline constexpr const char* LAN_BRIDGE = "br-lan";

/// Reads both addresses from the kernel into the context and prints each. Returns 0, or -1 when
/// one cannot be read; a MAC address that was read before the IPv4 address failed is kept.
int32_t qv_get_device_info(AgentContext& context);

#endif
