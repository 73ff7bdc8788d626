#ifndef CMNCRYPTO_LIBWINCERTSTORE_STORECONTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_STORECONTEXT_H

#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/** Has a context sign by PKCS#1 v1.5 only; what peers may sign with stays as wide as it is. */
bool restrictSignatures(SSL_CTX* ctx);

/** @return an empty context with the same settings, to try on it what would be half done on the other one; null when
 *          memory is short, or nothing is left of the cipher suites */
OpenSslPtr<SSL_CTX> trialContext(SSL_CTX* ctx);

} // namespace CmnCrypto::WinCertStore

#endif
