#ifndef CMNCRYPTO_TLS_TLSRECIPE_H
#define CMNCRYPTO_TLS_TLSRECIPE_H

#include "tls/Context.h"

namespace CmnCrypto::tls {

/**
 * The settings that every context here has: the Diffie-Hellman group, the protocol version, options and cipher suites,
 * no resumption. A group that OpenSSL refuses is logged and done without.
 * @return 0; 9110, logged, when the cipher list is refused, also for null
 */
int setCiphers(Context& context, const char* cipherList);

} // namespace CmnCrypto::tls

#endif
