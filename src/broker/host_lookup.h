// Addresses of the broker's host.
#ifndef QV_BROKER_HOST_LOOKUP_H
#define QV_BROKER_HOST_LOOKUP_H

#include "platform/monotonic_condition.h"

#include <array>
#include <cstdint>
#include <memory>
#include <netinet/in.h>

struct AgentContext;

/// An IPv4 or IPv6 address as text.
using AddressText = std::array<char, INET6_ADDRSTRLEN>;

struct HostAddresses {
    std::array<AddressText, 8> text{}; ///< in the resolver's order of preference
    uint32_t count = 0;                ///< 0 when the host has none, or none was found in time
};

/// Finds the addresses of a host. An address is its own; a name is looked up by the system's
/// resolver, which may take longer than anybody can wait, and cannot be called back. So it works
/// on a thread of its own, the one thread of the agent that nobody joins: it exists only while a
/// name is looked up, shares nothing but the look-up itself, and may be left behind when the agent
/// ends.
class HostLookup {
public:
    /// Waits as the network thread does, until the deadline at most, less when the agent closes.
    /// A look-up that takes longer goes on, and a later call takes up its result.
    HostAddresses find(AgentContext& context, const char* host,
                       MonotonicCondition::Clock::time_point deadline);

private:
    struct Job;
    struct Release {
        void operator()(Job* job) const;
    };

    static void* run(void* job);
    bool start(const char* host);

    /// The look-up under way or just done, shared with its thread: the last of both releases it.
    std::unique_ptr<Job, Release> job_;
};

#endif
