// Connecting to the broker, on the network thread.
#ifndef QV_BROKER_CONNECT_H
#define QV_BROKER_CONNECT_H

#include <chrono>

struct AgentContext;

inline constexpr int KEEP_ALIVE_S = 15;

/// For one attempt to reach the host, and again for the broker to accept the session. With
/// credentials it holds for both together.
inline constexpr std::chrono::seconds ATTEMPT_LIMIT{10};

/// For both together, when the agent closes and reports wait.
inline constexpr std::chrono::seconds LAST_ATTEMPT_LIMIT{3};

/// Attempts until one succeeds, at most one every two seconds; reads the identity again and
/// records the status. False when the agent closes: then at once, unless reports wait, which get
/// one attempt more.
bool qv_link_connect(AgentContext& context);

#endif
