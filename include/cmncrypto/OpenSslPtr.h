/** @file
 * How the library's classes own OpenSSL objects. Not meant for hosts: the deleter is not exported.
 */
#ifndef CMNCRYPTO_OPENSSLPTR_H
#define CMNCRYPTO_OPENSSLPTR_H

#include <memory>

#include <openssl/types.h>

namespace CmnCrypto {

/** Releases each kind of OpenSSL object with its own call, wiping where the object may hold a secret. */
struct OpenSslDeleter {
    /// @cond one call per kind
    void operator()(BIGNUM* object) const noexcept;
    void operator()(BIO* chain) const noexcept; ///< the whole chain
    void operator()(DH* object) const noexcept;
    void operator()(EVP_CIPHER* object) const noexcept;
    void operator()(EVP_CIPHER_CTX* object) const noexcept;
    void operator()(EVP_MD* object) const noexcept;
    void operator()(EVP_MD_CTX* object) const noexcept;
    void operator()(EVP_RAND* object) const noexcept;
    void operator()(X509* object) const noexcept;
    /// @endcond
};

/** Owns one OpenSSL object. */
template <class T> using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter>;

} // namespace CmnCrypto

#endif
