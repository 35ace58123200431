// TLS for the broker link.
#ifndef QV_BROKER_TLS_H
#define QV_BROKER_TLS_H

#include <mosquitto.h>

struct Credentials;

/// Has a new client speak TLS 1.2 or newer and nothing else: with the device's certificate, if
/// there is one, and with a broker whose certificate an authority of ca.pem has signed for `host`,
/// a name or an address. Reads the files. Returns a library result, and what is wrong in one line.
int qv_tls_use(mosquitto* client, const Credentials& files, const char* host);

/// Whether something of a handshake went out on the client's connection, which was made then.
bool qv_tls_handshake_begun(mosquitto* client);

/// The event of poll(2) that the handshake on the client's connection waits for, 0 when it is done
/// or when there is none, POLLERR when the connection has failed under it, which one line has told
/// if anything was sent; the library would try for ever. mosquitto_loop_read takes the next step,
/// whatever the event.
short qv_tls_handshake_awaits(mosquitto* client);

#endif
