#include "broker/credentials.h"
#include "broker/tls.h"
#include "platform/log.h"

int qv_tls_use(mosquitto* /*client*/, const Credentials& files, const char* /*host*/) {
    qv_log("QV_ERR: %s asks for TLS, which this agent was built without\n",
           files.authority.path.data());
    return MOSQ_ERR_NOT_SUPPORTED;
}

bool qv_tls_handshake_begun(mosquitto* /*client*/) {
    return false;
}

short qv_tls_handshake_awaits(mosquitto* /*client*/) {
    return 0;
}
