// What secures the broker link: files in the device's folder /etc/qvagent, read anew for every
// attempt. A device without them speaks plain MQTT.
#ifndef QV_BROKER_CREDENTIALS_H
#define QV_BROKER_CREDENTIALS_H

#include <array>

struct CredentialFile {
    std::array<char, 256> path{};
    bool present = false; ///< something is there, usable or not
};

/// The files as an attempt finds them.
struct Credentials {
    CredentialFile authority;   ///< ca.pem: whose certificates a broker must have; asks for TLS
    CredentialFile certificate; ///< client.pem: the device's own, and those that lead to its issuer
    CredentialFile key;         ///< client.key: of that certificate, without a passphrase
    CredentialFile login;       ///< login: the MQTT user name in one line, the password in the next
};

struct Login {
    std::array<char, 256> user{};
    std::array<char, 256> password{};
};

Credentials qv_find_credentials();

/// Whether there is any file at all.
bool qv_has_credentials(const Credentials& files);

/// Whether they belong together and can be read, key and login by their owner alone. Otherwise
/// one line names the file.
bool qv_check_credentials(const Credentials& files);

/// False, with one line, when the file has no user name or password, or one that is too long.
bool qv_read_login(const CredentialFile& file, Login& login);

#endif
