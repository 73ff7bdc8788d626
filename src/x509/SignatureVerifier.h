#ifndef CMNCRYPTO_X509_SIGNATUREVERIFIER_H
#define CMNCRYPTO_X509_SIGNATUREVERIFIER_H

#include <string>

#include "cmncrypto/types.h"
#include "ossl/PerThread.h"

namespace CmnCrypto {

/**
 * Verifies the signatures of one key. It keeps what EVP_VerifyFinal() would set up for each of them, which costs a
 * tenth of a verification.
 */
class SignatureVerifier {
public:
    /** @param key borrowed; null verifies nothing */
    explicit SignatureVerifier(EVP_PKEY* key) noexcept : m_key(key) {}

    /**
     * @param algorithm HASH_ALGO_NONE tries every digest that is offered to people, in their order
     * @param reportFailure tells of a digest that has not made the signature
     * @return whether one of the digests has made the signature
     * @throws CmnException -1 for an algorithm without a name or when OpenSSL cannot start
     */
    bool verify(const std::string& data, const unsigned char* signature, int length, _HASH_ALGO algorithm,
                void (*reportFailure)());

private:
    bool isSignedWith(_HASH_ALGO algorithm, const std::string& data, const unsigned char* signature, size_t length);
    bool finish(EVP_MD_CTX* data, _HASH_ALGO algorithm, const unsigned char* signature, size_t length);
    bool prepare(_HASH_ALGO algorithm);

    EVP_PKEY* m_key;
    OpenSslPtr<EVP_PKEY_CTX> m_context;
    _HASH_ALGO m_digest = HASH_ALGO_NONE; ///< what the context is set to
    std::uint64_t m_generation = 0;       ///< of the algorithms that it works with
};

} // namespace CmnCrypto

#endif
