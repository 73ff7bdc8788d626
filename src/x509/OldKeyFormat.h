#ifndef CMNCRYPTO_X509_OLDKEYFORMAT_H
#define CMNCRYPTO_X509_OLDKEYFORMAT_H

#include <functional>

#include "ossl/OpenSsl.h"
#include "x509/PassPhrase.h"
#include "x509/PemBlock.h"

namespace CmnCrypto {

/**
 * @return whether a key is encrypted in the traditional way or in PKCS#8 with anything older than PBES2 (RFC 8018),
 *         which is all made of digests and ciphers that FIPS mode does not have
 */
bool isOldEncryption(const PemBlock& block);

// Private keys whose encryption only OpenSSL's legacy provider knows. Both return null, with OpenSSL's errors queued,
// for a key that needs none of it, when the pass phrase is wrong, and when the provider is missing, which they tell.

/** Opens a key that is encrypted in the traditional way, in place. */
OpenSslPtr<EVP_PKEY> openOldTraditional(PemBlock& block, PassPhrase& passPhrase,
                                        const std::function<void(const char*)>& tell);

/** Opens a PKCS#8 key. */
OpenSslPtr<EVP_PKEY> openOldPkcs8(PemBlock& block, PassPhrase& passPhrase,
                                  const std::function<void(const char*)>& tell);

} // namespace CmnCrypto

#endif
