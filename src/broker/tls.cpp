#include "broker/tls.h"

#include "broker/credentials.h"
#include "platform/log.h"

#include <memory>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <poll.h>

// Facts about libmosquitto 2.0 and OpenSSL 3 that shape this file. The library's own settings would
// check the certificate against the address that it was given, and send that as the server's name;
// so the context is ours, and the name is put right in its callback, before the first message is
// made. No call here takes a time_t: on 32-bit ARM the distribution's OpenSSL has one of 32 bits.

namespace {

struct ContextRelease {
    void operator()(SSL_CTX* context) const {
        SSL_CTX_free(context);
    }
};

const char* reason_of(unsigned long error) {
    const char* const reason = ERR_reason_error_string(error);
    return reason != nullptr ? reason : "no reason known";
}

// --- The handshake ---

/// The host by name, or none when it is an address: RFC 6066 has no addresses for server names.
void set_server_name(SSL* ssl) {
    const char* const name = X509_VERIFY_PARAM_get0_host(SSL_get0_param(ssl), 0);
    SSL_set_tlsext_host_name(ssl, name);
}

const char* failure(const SSL* ssl) {
    const long verified = SSL_get_verify_result(ssl);
    if (verified != X509_V_OK) {
        return X509_verify_cert_error_string(verified);
    }
    const unsigned long error = ERR_peek_last_error();
    return error != 0 ? reason_of(error) : "connection lost";
}

/// After a step of it. Without an error of TLS the connection has failed under it.
bool can_go_on(const SSL* ssl) {
    const int state = SSL_get_error(ssl, -1);
    return state == SSL_ERROR_WANT_READ || state == SSL_ERROR_WANT_WRITE;
}

/// Something of it went out, so there was a connection.
bool has_begun(const SSL* ssl) {
    return BIO_number_written(SSL_get_wbio(ssl)) > 0;
}

/// As the error that follows an alert names it; SSL_alert_desc_string_long does not know them all.
const char* alert_name(int value) {
    return reason_of(ERR_PACK(ERR_LIB_SSL, 0, SSL_AD_REASON_OFFSET + (value & 0xff)));
}

/// SSL_CTX_set_info_callback(3). The end of a step that cannot go on is the handshake's; before its
/// first, without an error of TLS, a connection was refused, which the connect call tells.
void on_progress(const SSL* ssl, int where, int value) {
    const bool shaking_hands = SSL_is_init_finished(ssl) == 0;
    if ((where & SSL_CB_HANDSHAKE_START) != 0) {
        set_server_name(const_cast<SSL*>(ssl)); // const for observers' sake; the object is not
    } else if (where == SSL_CB_CONNECT_EXIT && shaking_hands && !can_go_on(ssl) &&
               (has_begun(ssl) || ERR_peek_error() != 0)) {
        qv_log("QV_ERR: TLS handshake failed: %s\n", failure(ssl));
    } else if (where == SSL_CB_READ_ALERT && !shaking_hands && value >> 8 == SSL3_AL_FATAL) {
        qv_log("QV_ERR: TLS session ended by the broker: %s\n", alert_name(value));
    }
}

// --- Validity where the clock was never set, as it comes through this very link ---

const ASN1_TIME* later_of(const ASN1_TIME* known, const X509* certificate) {
    const ASN1_TIME* const start = X509_get0_notBefore(certificate);
    return known == nullptr || ASN1_TIME_compare(start, known) > 0 ? start : known;
}

/// When the youngest of our own certificates became valid: it is not earlier than that. None when
/// there are none.
const ASN1_TIME* youngest_start(SSL_CTX* context) {
    const ASN1_TIME* youngest = nullptr;
    if (const X509* const own = SSL_CTX_get0_certificate(context); own != nullptr) {
        youngest = later_of(youngest, own);
    }
    STACK_OF(X509)* issuers = nullptr; // what follows the device's own in its file
    SSL_CTX_get0_chain_certs(context, &issuers);
    for (int i = 0; i < sk_X509_num(issuers); ++i) {
        youngest = later_of(youngest, sk_X509_value(issuers, i));
    }
    const auto* known = X509_STORE_get0_objects(SSL_CTX_get_cert_store(context));
    for (int i = 0; i < sk_X509_OBJECT_num(known); ++i) {
        const X509* const authority = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(known, i));
        if (authority != nullptr) { // a revocation list else
            youngest = later_of(youngest, authority);
        }
    }
    return youngest;
}

/// Dates that cannot be compared are not in order.
bool in_order(const ASN1_TIME* earlier, const ASN1_TIME* later) {
    const int order = ASN1_TIME_compare(earlier, later);
    return order == -1 || order == 0;
}

/// SSL_CTX_set_verify(3): called for each certificate of the broker's chain that is good otherwise.
int judge_at_youngest_start(int good, X509_STORE_CTX* chain) {
    if (good == 0) {
        return 0;
    }
    const auto* ssl = static_cast<const SSL*>(
        X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
    const ASN1_TIME* const now = youngest_start(SSL_get_SSL_CTX(ssl));
    const X509* const certificate = X509_STORE_CTX_get_current_cert(chain);
    if (!in_order(X509_get0_notBefore(certificate), now)) {
        X509_STORE_CTX_set_error(chain, X509_V_ERR_CERT_NOT_YET_VALID);
        return 0;
    }
    if (!in_order(now, X509_get0_notAfter(certificate))) {
        X509_STORE_CTX_set_error(chain, X509_V_ERR_CERT_HAS_EXPIRED);
        return 0;
    }
    return 1;
}

/// Certificates are judged at the later of two times: the clock's, and the youngest start.
void set_verification(SSL_CTX* context) {
    const ASN1_TIME* const start = youngest_start(context);
    const bool clock_is_behind = start != nullptr && X509_cmp_current_time(start) > 0;
    if (clock_is_behind) {
        X509_VERIFY_PARAM_set_flags(SSL_CTX_get0_param(context), X509_V_FLAG_NO_CHECK_TIME);
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER,
                       clock_is_behind ? judge_at_youngest_start : nullptr);
}

// --- The context ---

bool taken(bool done, const CredentialFile& file) {
    if (!done) {
        qv_log("QV_ERR: %s cannot be used: %s\n", file.path.data(),
               reason_of(ERR_peek_last_error()));
    }
    ERR_clear_error();
    return done;
}

bool load(SSL_CTX* context, const Credentials& files) {
    const char* const key = files.key.path.data();
    return taken(SSL_CTX_load_verify_file(context, files.authority.path.data()) == 1,
                 files.authority) &&
           (!files.certificate.present ||
            (taken(SSL_CTX_use_certificate_chain_file(context, files.certificate.path.data()) == 1,
                   files.certificate) &&
             taken(SSL_CTX_use_PrivateKey_file(context, key, SSL_FILETYPE_PEM) == 1 &&
                       SSL_CTX_check_private_key(context) == 1, // also when they differ in kind
                   files.key)));
}

/// An empty name would be one that every certificate has.
bool set_host(SSL_CTX* context, const char* host) {
    X509_VERIFY_PARAM* const demands = SSL_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_hostflags(demands, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const bool set = host[0] != '\0' && (X509_VERIFY_PARAM_set1_ip_asc(demands, host) == 1 ||
                                         X509_VERIFY_PARAM_set1_host(demands, host, 0) == 1);
    ERR_clear_error();
    return set;
}

bool prepare(SSL_CTX* context, const char* host) {
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_info_callback(context, on_progress);
    // Nobody is there whom the library could ask for a passphrase.
    SSL_CTX_set_default_passwd_cb(context, [](char*, int, int, void*) { return -1; });
    return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 && set_host(context, host);
}

} // namespace

int qv_tls_use(mosquitto* client, const Credentials& files, const char* host) {
    const std::unique_ptr<SSL_CTX, ContextRelease> context(SSL_CTX_new(TLS_client_method()));
    if (context == nullptr || !prepare(context.get(), host)) {
        qv_log("QV_ERR: TLS cannot be set up for the host \"%s\"\n", host);
        return MOSQ_ERR_TLS;
    }
    if (!load(context.get(), files)) {
        return MOSQ_ERR_TLS;
    }
    set_verification(context.get());
    mosquitto_int_option(client, MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0);
    const int given = mosquitto_void_option(client, MOSQ_OPT_SSL_CTX, context.get());
    if (given != MOSQ_ERR_SUCCESS) {
        qv_log("QV_ERR: the MQTT library has no TLS\n");
    }
    return given;
}

bool qv_tls_handshake_begun(mosquitto* client) {
    const auto* ssl = static_cast<const SSL*>(mosquitto_ssl_get(client));
    return ssl != nullptr && has_begun(ssl);
}

short qv_tls_handshake_awaits(mosquitto* client) {
    const auto* ssl = static_cast<const SSL*>(mosquitto_ssl_get(client));
    if (ssl == nullptr || SSL_is_init_finished(ssl) != 0) {
        return 0;
    }
    if (!can_go_on(ssl)) {
        return POLLERR;
    }
    return SSL_want_write(ssl) ? POLLOUT : POLLIN;
}
