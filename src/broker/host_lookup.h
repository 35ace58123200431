// Addresses of the broker's host.
#ifndef QV_BROKER_HOST_LOOKUP_H
#define QV_BROKER_HOST_LOOKUP_H

#include "agent/context.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <netinet/in.h>

/// An IPv4 or IPv6 address as text.
using AddressText = std::array<char, INET6_ADDRSTRLEN>;

struct HostAddresses {
    std::array<AddressText, 8> text{}; ///< in the resolver's order of preference
    uint32_t count = 0;                ///< 0 when the host has none, or none was found in time
};

/// Finds the addresses of a host. An address is its own; a name is looked up by the system's
/// resolver, which may take longer than anybody can wait, and cannot be called back. So it works
/// on a thread of its own, the one thread of the agent that nobody joins: it exists only while a
/// name is looked up, owns all that it touches, and may be left behind when the agent ends.
class HostLookup {
public:
    HostLookup() = default;
    HostLookup(const HostLookup&) = delete;
    HostLookup& operator=(const HostLookup&) = delete;
    ~HostLookup();

    /// Waits until the deadline at most, less when the agent stops. A lookup that takes longer
    /// goes on, and a later call takes up its result.
    HostAddresses find(const AgentContext& context, const char* host,
                       std::chrono::steady_clock::time_point deadline);

private:
    struct Job;

    static void* run(void* job);

    Job* job_ = nullptr; ///< the lookup under way or just done, shared with its thread
};

#endif
