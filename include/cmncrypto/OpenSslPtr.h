/** @file
 * How the library's classes own OpenSSL objects. Not meant for hosts: the deleter is not exported.
 */
#ifndef CMNCRYPTO_OPENSSLPTR_H
#define CMNCRYPTO_OPENSSLPTR_H

#include <memory>

#include <openssl/types.h>

struct PBE2PARAM_st;
struct PKCS12_st;
struct X509_extension_st;
struct X509_req_st;
struct X509_sig_st;
struct X509_VERIFY_PARAM_st;
struct stack_st_ASN1_OBJECT;
struct stack_st_DIST_POINT;
struct stack_st_GENERAL_NAME;
struct stack_st_X509;
struct stack_st_X509_CRL;
struct stack_st_X509_EXTENSION;
struct stack_st_X509_INFO;

namespace CmnCrypto {

/** Releases each kind of OpenSSL object with its own call, wiping where the object may hold a secret. */
struct OpenSslDeleter {
    /// @cond one call per kind
    void operator()(ASN1_STRING* object) const noexcept; ///< integers and times are strings too
    void operator()(AUTHORITY_KEYID* object) const noexcept;
    void operator()(BIGNUM* object) const noexcept;
    void operator()(BIO* chain) const noexcept;           ///< the whole chain
    void operator()(char* text) const noexcept;           ///< text that OpenSSL has allocated
    void operator()(unsigned char* bytes) const noexcept; ///< bytes that OpenSSL has allocated
    void operator()(DH* object) const noexcept;
    void operator()(EVP_CIPHER* object) const noexcept;
    void operator()(EVP_CIPHER_CTX* object) const noexcept;
    void operator()(EVP_MD* object) const noexcept;
    void operator()(EVP_MD_CTX* object) const noexcept;
    void operator()(EVP_PKEY* object) const noexcept;
    void operator()(EVP_PKEY_CTX* object) const noexcept;
    void operator()(EVP_RAND* object) const noexcept;
    void operator()(OSSL_DECODER_CTX* object) const noexcept;
    void operator()(OSSL_LIB_CTX* object) const noexcept;
    void operator()(OSSL_PROVIDER* object) const noexcept;
    void operator()(PKCS12_st* object) const noexcept;
    void operator()(PBE2PARAM_st* object) const noexcept;
    void operator()(PKCS8_PRIV_KEY_INFO* object) const noexcept;
    void operator()(RSA* object) const noexcept;
    void operator()(RSA_METHOD* object) const noexcept;
    void operator()(SSL* object) const noexcept;
    void operator()(SSL_CTX* object) const noexcept;
    void operator()(X509* object) const noexcept;
    void operator()(X509_CRL* object) const noexcept;
    void operator()(X509_extension_st* object) const noexcept;
    void operator()(X509_NAME* object) const noexcept;
    void operator()(X509_req_st* object) const noexcept;
    void operator()(X509_sig_st* object) const noexcept;
    void operator()(X509_STORE* object) const noexcept;
    void operator()(X509_STORE_CTX* object) const noexcept;
    void operator()(X509_VERIFY_PARAM_st* object) const noexcept;
    void operator()(stack_st_ASN1_OBJECT* stack) const noexcept;
    void operator()(stack_st_DIST_POINT* stack) const noexcept; ///< with its elements, as all stacks here
    void operator()(stack_st_GENERAL_NAME* stack) const noexcept;
    void operator()(stack_st_X509* stack) const noexcept;
    void operator()(stack_st_X509_CRL* stack) const noexcept;
    void operator()(stack_st_X509_EXTENSION* stack) const noexcept;
    void operator()(stack_st_X509_INFO* stack) const noexcept;
    /// @endcond
};

/** Owns one OpenSSL object. */
template <class T> using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter>;

} // namespace CmnCrypto

#endif
