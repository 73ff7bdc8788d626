#ifndef CMNCRYPTO_OSSL_KEYDECODER_H
#define CMNCRYPTO_OSSL_KEYDECODER_H

#include "ossl/PerThread.h"

namespace CmnCrypto::ossl {

/**
 * Decodes a plain RSA private key with the decoder that the calling thread keeps.
 * @param der PKCS#8 or PKCS#1, as @p form says
 * @return null for anything else: a key of another kind, garbage after the key, memory that is short. Nothing is lost:
 *         the caller decodes such a key in the plain way, which says what is wrong, too.
 */
OpenSslPtr<EVP_PKEY> decodeRsaKey(KeyForm form, const unsigned char* der, size_t length) noexcept;

} // namespace CmnCrypto::ossl

#endif
