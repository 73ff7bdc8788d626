// OpenSSL's accessors to keys and methods under the names that the bridge has always used.

// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"

namespace CmnCrypto::WinCertStore {

using Operation = int (*)(int, const unsigned char*, unsigned char*, RSA*, int);

RSA* WinCertStoreOpenSSLHelper::QX_EVP_PKEY_get0_RSA(const EVP_PKEY* key) noexcept {
    return const_cast<RSA*>(EVP_PKEY_get0_RSA(key)); // NOLINT: as it was before OpenSSL 3
}

void WinCertStoreOpenSSLHelper::QX_RSA_get0_key(const RSA* rsa, const BIGNUM** n, const BIGNUM** e,
                                                const BIGNUM** d) noexcept {
    RSA_get0_key(rsa, n, e, d);
}

const RSA_METHOD* WinCertStoreOpenSSLHelper::QX_RSA_get_method(const RSA* rsa) noexcept {
    return RSA_get_method(rsa);
}

int WinCertStoreOpenSSLHelper::QX_RSA_set0_key(RSA* rsa, BIGNUM* n, BIGNUM* e, BIGNUM* d) noexcept {
    return RSA_set0_key(rsa, n, e, d);
}

void WinCertStoreOpenSSLHelper::QX_RSA_set_flags(RSA* rsa, int flags) noexcept {
    RSA_set_flags(rsa, flags);
}

RSA_METHOD* WinCertStoreOpenSSLHelper::QX_RSA_meth_new(const char* name, int flags) noexcept {
    return RSA_meth_new(name, flags);
}

void WinCertStoreOpenSSLHelper::QX_RSA_meth_free(RSA_METHOD* method) noexcept {
    RSA_meth_free(method);
}

void* WinCertStoreOpenSSLHelper::QX_RSA_meth_get0_app_data(const RSA_METHOD* method) noexcept {
    return RSA_meth_get0_app_data(method);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set0_app_data(RSA_METHOD* method, void* data) noexcept {
    return RSA_meth_set0_app_data(method, data);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_init(RSA_METHOD* method, int (*init)(RSA*)) noexcept {
    return RSA_meth_set_init(method, init);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_finish(RSA_METHOD* method, int (*finish)(RSA*)) noexcept {
    return RSA_meth_set_finish(method, finish);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_pub_enc(RSA_METHOD* method, Operation encrypt) noexcept {
    return RSA_meth_set_pub_enc(method, encrypt);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_pub_dec(RSA_METHOD* method, Operation decrypt) noexcept {
    return RSA_meth_set_pub_dec(method, decrypt);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_priv_enc(RSA_METHOD* method, Operation encrypt) noexcept {
    return RSA_meth_set_priv_enc(method, encrypt);
}

int WinCertStoreOpenSSLHelper::QX_RSA_meth_set_priv_dec(RSA_METHOD* method, Operation decrypt) noexcept {
    return RSA_meth_set_priv_dec(method, decrypt);
}

} // namespace CmnCrypto::WinCertStore
