// Securing an attempt to connect, on the network thread.
#ifndef QV_BROKER_SECURE_H
#define QV_BROKER_SECURE_H

struct AgentContext;

/// Makes the session's client one that goes by the credentials as they are now, with the broker at
/// `host` alone. Returns a library result; on a failure, which one line has told, there must be no
/// connect call.
int qv_link_secure(AgentContext& context, const char* host);

#endif
