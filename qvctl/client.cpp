#include "client.h"

#include "failure.h"
#include "file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qvctl {

namespace {

const char* text_or_none(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

void check(int result) {
    if (result != MOSQ_ERR_SUCCESS) {
        throw Failure(REFUSED, std::string("MQTT library: ") + mosquitto_strerror(result));
    }
}

std::string password_of(const Options& options) {
    if (!options.password.empty() || options.password_file.empty()) {
        return options.password;
    }
    const std::string text = read_file(options.password_file);
    return text.substr(0, text.find_first_of("\r\n"));
}

void log_in(mosquitto* client, const Options& options) {
    const std::string password = password_of(options);
    if (options.username.empty() && !password.empty()) {
        throw Failure(USAGE, "a password without a user name (-u)");
    }
    check(
        mosquitto_username_pw_set(client, text_or_none(options.username), text_or_none(password)));
}

void set_certificates(mosquitto* client, const Options& options) {
    if (options.cert.empty() != options.key.empty()) {
        throw Failure(USAGE, "--cert and --key go together");
    }
    if (options.cafile.empty()) {
        if (!options.cert.empty() || options.insecure) {
            throw Failure(USAGE, "--cert and --insecure are for TLS, which --cafile turns on");
        }
        return;
    }
    for (const std::string& file : {options.cafile, options.cert, options.key}) {
        if (!file.empty()) {
            read_file(file); // the library would not say which one it cannot read
        }
    }
    check(mosquitto_tls_set(client, options.cafile.c_str(), nullptr, text_or_none(options.cert),
                            text_or_none(options.key), nullptr));
    check(mosquitto_tls_insecure_set(client, options.insecure));
}

} // namespace

ClientPtr new_client(const Options& options, int protocol, void* user) {
    ClientPtr client(mosquitto_new(nullptr, true, user));
    if (client == nullptr) {
        throw Failure(REFUSED, strerror(errno));
    }
    check(mosquitto_int_option(client.get(), MOSQ_OPT_PROTOCOL_VERSION, protocol));
    log_in(client.get(), options);
    set_certificates(client.get(), options);
    return client;
}

} // namespace qvctl
