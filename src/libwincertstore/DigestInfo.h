#ifndef CMNCRYPTO_LIBWINCERTSTORE_DIGESTINFO_H
#define CMNCRYPTO_LIBWINCERTSTORE_DIGESTINFO_H

#include <cstdint>

namespace CmnCrypto::WinCertStore {

/** The digest algorithm that a DigestInfo names. */
enum class SignedDigest { none, sha1, sha224, sha256, sha384, sha512 };

/** What is to be signed by PKCS#1 v1.5, taken apart. */
struct DigestInfo {
    SignedDigest algorithm = SignedDigest::none;
    const unsigned char* digest = nullptr; ///< within what has been taken apart
    uint32_t length = 0;                   ///< its bytes
};

/**
 * Takes a DigestInfo apart (RFC 8017, 9.2): strict DER, with NULL for the algorithm's parameters.
 * @return algorithm none and the whole of @p data where it is anything else, as are the 36 bytes of TLS below 1.2
 */
DigestInfo takeApart(const unsigned char* data, uint32_t length) noexcept;

} // namespace CmnCrypto::WinCertStore

#endif
