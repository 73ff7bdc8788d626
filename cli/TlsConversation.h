/** @file
 * One connection of the TLS server.
 */
#ifndef CMNCRYPTO_CLI_TLSCONVERSATION_H
#define CMNCRYPTO_CLI_TLSCONVERSATION_H

#include <cstdint>
#include <string>

#include <openssl/ssl.h>

#include "ClientCheck.h"

namespace CmnCrypto::Cli {

/** What all connections share. */
struct TlsService {
    SSL_CTX* context;
    ClientCheck* clients; ///< null: they are not asked for a certificate
    int milliseconds;     ///< that a connection may take
    bool json;
};

/** Notes the reasons of failing handshakes for converse(). */
void prepareForConversations(SSL_CTX* context);

/**
 * Runs the handshake, reads one request, answers it with what was negotiated, and closes the connection. The socket
 * stays open.
 * @param peer its address
 * @return what came of it as one line of the log
 */
std::string converse(const TlsService& service, uint64_t socket, const std::string& peer);

} // namespace CmnCrypto::Cli

#endif
