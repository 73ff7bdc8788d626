// Giving a TLS context an RSA key whose private half stays in a store.

// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include <atomic>
#include <new>
#include <utility>

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/BridgeErrors.h"
#include "libwincertstore/StoreContext.h"
#include "libwincertstore/StoreErrors.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

namespace {

using Record = WinCertStoreOpenSSLHelper::QX_CRYPTO_DATA;

constexpr const char* installTag = "WinCertStoreOpenSSLHelper::qx_set_rsa_key_in_ssl_ctx";

/** What an RSA object takes with it when it goes: its method, and its share of the record. */
struct KeyExtras {
    OpenSslPtr<RSA_METHOD> method;
    std::shared_ptr<Record> record; ///< null where the record belongs to the host
};

void freeExtras(void*, void* extras, CRYPTO_EX_DATA*, int, long, void*) {
    delete static_cast<KeyExtras*>(extras); // after the method's finish, which RSA_free() calls first
}

/** @return where keys keep their extras; negative while memory is short */
int extrasIndex() {
    static std::atomic<int> kept{-1};
    if (const int index = kept.load(); index >= 0) {
        return index;
    }
    // Two threads may each get one: both are good, and every key is released by the one that it was given.
    const int index = RSA_get_ex_new_index(0, nullptr, nullptr, nullptr, freeExtras);
    kept.store(index);
    return index;
}

/** @return a method of its own for one key; null when memory is short */
OpenSslPtr<RSA_METHOD> makeMethod(Record* record) {
    using Helper = WinCertStoreOpenSSLHelper;
    OpenSslPtr<RSA_METHOD> method(
        Helper::QX_RSA_meth_new("Microsoft Cryptography API RSA Method", RSA_METHOD_FLAG_NO_CHECK));
    if (method) {
        Helper::QX_RSA_meth_set_pub_enc(method.get(), Helper::qx_rsa_meth_pub_enc);
        Helper::QX_RSA_meth_set_pub_dec(method.get(), Helper::qx_rsa_meth_pub_dec);
        Helper::QX_RSA_meth_set_priv_enc(method.get(), Helper::qx_rsa_meth_priv_enc);
        Helper::QX_RSA_meth_set_priv_dec(method.get(), Helper::qx_rsa_meth_priv_dec);
        Helper::QX_RSA_meth_set_init(method.get(), nullptr);
        Helper::QX_RSA_meth_set_finish(method.get(), Helper::qx_finish);
        Helper::QX_RSA_meth_set0_app_data(method.get(), record);
    }
    return method;
}

/** Copies the public half of a key. */
bool copyPublicHalf(const RSA* from, RSA* to) {
    const BIGNUM* n = nullptr;
    const BIGNUM* e = nullptr;
    WinCertStoreOpenSSLHelper::QX_RSA_get0_key(from, &n, &e, nullptr);
    OpenSslPtr<BIGNUM> modulus(BN_dup(n));
    OpenSslPtr<BIGNUM> exponent(BN_dup(e));
    if (!modulus || !exponent ||
        WinCertStoreOpenSSLHelper::QX_RSA_set0_key(to, modulus.get(), exponent.get(), nullptr) != 1) {
        return false;
    }
    modulus.release(); // the new key's now
    exponent.release();
    return true;
}

/** Makes @p rsa sign by @p method, which goes with it from then on. */
bool attachMethod(RSA* rsa, OpenSslPtr<RSA_METHOD> method, Record& record) {
    const RSA_METHOD* const attached = method.get();
    std::unique_ptr<KeyExtras> extras(new (std::nothrow) KeyExtras{std::move(method), record.self.lock()});
    const int index = extrasIndex();
    if (!extras || index < 0 || RSA_set_ex_data(rsa, index, extras.get()) != 1) {
        return false;
    }
    extras.release(); // the key's now
    if (RSA_set_method(rsa, attached) != 1) {
        return false;
    }
    __atomic_fetch_add(&record.ref_count, 1, __ATOMIC_ACQ_REL);
    return true;
}

} // namespace

int WinCertStoreOpenSSLHelper::qx_set_rsa_key_in_ssl_ctx(SSL_CTX* ctx, QX_CRYPTO_DATA* data,
                                                         EVP_PKEY* publicKey) noexcept {
    const OpenSslPtr<RSA> rsa(RSA_new());
    if (!rsa) {
        putStoreError(functionUsePrivateKey, reasonCannotBeMade, installTag, bridgeFile, __LINE__);
        qx_log_openssl_error(installTag);
        return 0;
    }
    const RSA* const publicRsa = publicKey != nullptr ? QX_EVP_PKEY_get0_RSA(publicKey) : nullptr;
    if (publicRsa == nullptr) {
        logFailureOf(installTag, {"pub_rsa is NULL."});
        return 0;
    }
    OpenSslPtr<RSA_METHOD> method = makeMethod(data);
    if (!method || ctx == nullptr || data == nullptr || !copyPublicHalf(publicRsa, rsa.get())) {
        return 0;
    }
    QX_RSA_set_flags(rsa.get(), RSA_FLAG_EXT_PKEY); // OpenSSL is not to look for private components
    // The method before the key enters the context: a later one would never be called.
    if (!attachMethod(rsa.get(), std::move(method), *data) || SSL_CTX_use_RSAPrivateKey(ctx, rsa.get()) != 1) {
        return 0;
    }
    return restrictSignatures(ctx) ? 1 : 0;
}

} // namespace CmnCrypto::WinCertStore
