// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedDh.h"
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

void OpenSslDeleter::operator()(ASN1_STRING* object) const noexcept {
    ASN1_STRING_free(object);
}
void OpenSslDeleter::operator()(AUTHORITY_KEYID* object) const noexcept {
    AUTHORITY_KEYID_free(object);
}
void OpenSslDeleter::operator()(BIGNUM* object) const noexcept {
    BN_clear_free(object);
}
void OpenSslDeleter::operator()(BIO* chain) const noexcept {
    BIO_free_all(chain);
}
void OpenSslDeleter::operator()(char* text) const noexcept {
    OPENSSL_free(text);
}
void OpenSslDeleter::operator()(unsigned char* bytes) const noexcept {
    OPENSSL_free(bytes);
}
void OpenSslDeleter::operator()(DH* object) const noexcept {
    DH_free(object);
}
void OpenSslDeleter::operator()(EVP_CIPHER* object) const noexcept {
    EVP_CIPHER_free(object);
}
void OpenSslDeleter::operator()(EVP_CIPHER_CTX* object) const noexcept {
    EVP_CIPHER_CTX_free(object);
}
void OpenSslDeleter::operator()(EVP_MD* object) const noexcept {
    EVP_MD_free(object);
}
void OpenSslDeleter::operator()(EVP_MD_CTX* object) const noexcept {
    EVP_MD_CTX_free(object);
}
void OpenSslDeleter::operator()(EVP_PKEY* object) const noexcept {
    EVP_PKEY_free(object);
}
void OpenSslDeleter::operator()(EVP_PKEY_CTX* object) const noexcept {
    EVP_PKEY_CTX_free(object);
}
void OpenSslDeleter::operator()(EVP_RAND* object) const noexcept {
    EVP_RAND_free(object);
}
void OpenSslDeleter::operator()(OSSL_DECODER_CTX* object) const noexcept {
    OSSL_DECODER_CTX_free(object);
}
void OpenSslDeleter::operator()(OSSL_LIB_CTX* object) const noexcept {
    OSSL_LIB_CTX_free(object);
}
void OpenSslDeleter::operator()(OSSL_PROVIDER* object) const noexcept {
    OSSL_PROVIDER_unload(object);
}
void OpenSslDeleter::operator()(PKCS12* object) const noexcept {
    PKCS12_free(object);
}
void OpenSslDeleter::operator()(PBE2PARAM* object) const noexcept {
    PBE2PARAM_free(object);
}

void OpenSslDeleter::operator()(PKCS8_PRIV_KEY_INFO* object) const noexcept {
    PKCS8_PRIV_KEY_INFO_free(object);
}
void OpenSslDeleter::operator()(RSA* object) const noexcept {
    RSA_free(object);
}
void OpenSslDeleter::operator()(SSL* object) const noexcept {
    SSL_free(object);
}
void OpenSslDeleter::operator()(SSL_CTX* object) const noexcept {
    SSL_CTX_free(object);
}
void OpenSslDeleter::operator()(RSA_METHOD* object) const noexcept {
    RSA_meth_free(object);
}
void OpenSslDeleter::operator()(X509* object) const noexcept {
    X509_free(object);
}
void OpenSslDeleter::operator()(X509_CRL* object) const noexcept {
    X509_CRL_free(object);
}
void OpenSslDeleter::operator()(X509_EXTENSION* object) const noexcept {
    X509_EXTENSION_free(object);
}
void OpenSslDeleter::operator()(X509_NAME* object) const noexcept {
    X509_NAME_free(object);
}
void OpenSslDeleter::operator()(X509_REQ* object) const noexcept {
    X509_REQ_free(object);
}
void OpenSslDeleter::operator()(X509_SIG* object) const noexcept {
    X509_SIG_free(object);
}
void OpenSslDeleter::operator()(X509_STORE* object) const noexcept {
    X509_STORE_free(object);
}
void OpenSslDeleter::operator()(X509_STORE_CTX* object) const noexcept {
    X509_STORE_CTX_free(object);
}
void OpenSslDeleter::operator()(X509_VERIFY_PARAM* object) const noexcept {
    X509_VERIFY_PARAM_free(object);
}
void OpenSslDeleter::operator()(stack_st_ASN1_OBJECT* stack) const noexcept {
    sk_ASN1_OBJECT_pop_free(stack, ASN1_OBJECT_free);
}
void OpenSslDeleter::operator()(stack_st_DIST_POINT* stack) const noexcept {
    CRL_DIST_POINTS_free(stack);
}
void OpenSslDeleter::operator()(stack_st_GENERAL_NAME* stack) const noexcept {
    GENERAL_NAMES_free(stack);
}
void OpenSslDeleter::operator()(stack_st_X509* stack) const noexcept {
    sk_X509_pop_free(stack, X509_free);
}
void OpenSslDeleter::operator()(stack_st_X509_CRL* stack) const noexcept {
    sk_X509_CRL_pop_free(stack, X509_CRL_free);
}
void OpenSslDeleter::operator()(stack_st_X509_EXTENSION* stack) const noexcept {
    sk_X509_EXTENSION_pop_free(stack, X509_EXTENSION_free);
}
void OpenSslDeleter::operator()(stack_st_X509_INFO* stack) const noexcept {
    sk_X509_INFO_pop_free(stack, X509_INFO_free);
}

} // namespace CmnCrypto
