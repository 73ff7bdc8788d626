#ifndef CMNCRYPTO_X509_CHAINREFERENCES_H
#define CMNCRYPTO_X509_CHAINREFERENCES_H

#include "cmncrypto/X509CertChain.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/**
 * The certificates of a chain as OpenSSL takes them, in the chain's order. They are the same objects, kept alive by
 * the stack, too: for work that does not change them, where copies would be parsed anew.
 * @throws std::bad_alloc
 */
OpenSslPtr<STACK_OF(X509)> referencesTo(const X509CertChain& chain);

} // namespace CmnCrypto

#endif
