// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedDh.h"
// clang-format on

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

void OpenSslDeleter::operator()(BIGNUM* object) const noexcept {
    BN_clear_free(object);
}
void OpenSslDeleter::operator()(BIO* chain) const noexcept {
    BIO_free_all(chain);
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
void OpenSslDeleter::operator()(EVP_RAND* object) const noexcept {
    EVP_RAND_free(object);
}
void OpenSslDeleter::operator()(X509* object) const noexcept {
    X509_free(object);
}

} // namespace CmnCrypto
