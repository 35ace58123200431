// Serving a connection, on the network thread.
#ifndef QV_BROKER_SERVE_H
#define QV_BROKER_SERVE_H

struct AgentContext;

/// Until the connection is lost, or is left with a DISCONNECT: for a new one, or because the agent
/// closes. What was read by then was handed on. Sleeps while there is nothing to do but for the
/// keep-alive.
void qv_link_serve(AgentContext& context);

#endif
