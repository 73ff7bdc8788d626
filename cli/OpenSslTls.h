/** @file
 * What both ends of a TLS connection have in common.
 */
#ifndef CMNCRYPTO_CLI_OPENSSLTLS_H
#define CMNCRYPTO_CLI_OPENSSLTLS_H

#include <string>

#include <openssl/ssl.h>

#include "Details.h"
#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

using OwnedContext = Owned<SSL_CTX, SSL_CTX_free>;
using OwnedConnection = Owned<SSL, SSL_free>;
using OwnedSession = Owned<SSL_SESSION, SSL_SESSION_free>;

/** Adds protocol, cipher suite, group of the key exchange and signature algorithm of a connection that stands. */
void addNegotiated(SSL* ssl, Details& details);

/** @return the reason for OpenSSL's first queued error; empty for none */
std::string firstSslReason();

} // namespace CmnCrypto::Cli

#endif
