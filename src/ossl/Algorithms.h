#ifndef CMNCRYPTO_OSSL_ALGORITHMS_H
#define CMNCRYPTO_OSSL_ALGORITHMS_H

#include "ossl/OpenSsl.h"

namespace CmnCrypto::ossl {

/** Digests and ciphers that are kept once fetched. */
enum class Digest { sha256, sha512, sha1, md5, count };
enum class Cipher { aes128Cbc, aes192Cbc, aes256Cbc, aes256Gcm, count };

/**
 * The algorithm under the present FIPS mode, fetched at the calling thread's first use: OpenSSL's own
 * EVP_sha256() and the like are looked up again at every initialisation.
 * @return borrowed until the thread's next call or end (a context that uses it holds a reference of its own);
 *         null, with OpenSSL's errors queued, when no provider has it
 */
const EVP_MD* digest(Digest which) noexcept;
const EVP_CIPHER* cipher(Cipher which) noexcept; ///< as digest()

/**
 * A digest context that the thread keeps for digests that begin and end within one call.
 * @param unkept owns the context instead where the thread cannot keep one
 * @return borrowed, to be initialised and used up at once; null when it cannot be made
 */
EVP_MD_CTX* scratchDigestContext(OpenSslPtr<EVP_MD_CTX>& unkept) noexcept;

} // namespace CmnCrypto::ossl

#endif
