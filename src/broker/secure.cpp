#include "broker/secure.h"

#include "agent/context.h"
#include "broker/callbacks.h"
#include "broker/credentials.h"
#include "broker/session.h"
#include "broker/tls.h"
#include "platform/log.h"

#include <utility>

namespace {

int use_login(mosquitto* client, const CredentialFile& file) {
    Login login;
    if (!qv_read_login(file, login)) {
        return MOSQ_ERR_AUTH;
    }
    const int result = mosquitto_username_pw_set(client, login.user.data(), login.password.data());
    if (result != MOSQ_ERR_SUCCESS) {
        qv_log("QV_ERR: %s cannot be used: %s\n", file.path.data(), mosquitto_strerror(result));
    }
    return result;
}

int apply(mosquitto* client, const Credentials& files, const char* host) {
    if (!qv_check_credentials(files)) {
        return MOSQ_ERR_TLS;
    }
    int result = MOSQ_ERR_SUCCESS;
    if (files.login.present) {
        result = use_login(client, files.login);
    }
    if (result == MOSQ_ERR_SUCCESS && files.authority.present) {
        result = qv_tls_use(client, files, host);
    }
    return result;
}

} // namespace

int qv_link_secure(AgentContext& context, const char* host) {
    MqttSession& session = *context.session;
    const Credentials files = qv_find_credentials();
    const bool secured = qv_has_credentials(files);
    if (!secured && !session.link.secured) {
        return MOSQ_ERR_SUCCESS;
    }
    // libmosquitto 2.0 keeps a TLS context for good, and remembers a handshake that failed.
    ClientPtr client = qv_make_client(context);
    if (client == nullptr) {
        return MOSQ_ERR_NOMEM;
    }
    const int result = apply(client.get(), files, host);
    if (result == MOSQ_ERR_SUCCESS) {
        const std::lock_guard guard(session.client_lock);
        client.reset(std::exchange(session.client, client.release()));
        session.link.secured = secured;
    }
    return result;
}
