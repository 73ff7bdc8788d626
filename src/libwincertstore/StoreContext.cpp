// What a context that signs with a store's key may offer.

#include <string>

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/StoreKeySignatures.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* prepareTag = "WinCertStoreOpenSSLHelper::prepare_ssl_ctx";

/** @return whether a cipher suite needs the private key to decrypt, or belongs to TLS 1.3, which has a list of its own
 */
bool isOutOfReach(const SSL_CIPHER* cipher) {
    const int exchange = SSL_CIPHER_get_kx_nid(cipher);
    return exchange == NID_kx_rsa || exchange == NID_kx_rsa_psk || exchange == NID_kx_any;
}

/** @return the names of the suites of a context that a store's key can serve, joined by ":" */
std::string suitesInReach(const SSL_CTX* ctx) {
    std::string names;
    const STACK_OF(SSL_CIPHER)* const ciphers = SSL_CTX_get_ciphers(ctx);
    for (int index = 0; index < sk_SSL_CIPHER_num(ciphers); ++index) {
        const SSL_CIPHER* const cipher = sk_SSL_CIPHER_value(ciphers, index);
        if (!isOutOfReach(cipher)) {
            names.append(names.empty() ? "" : ":").append(SSL_CIPHER_get_name(cipher));
        }
    }
    return names;
}

} // namespace

int WinCertStoreOpenSSLHelper::prepare_ssl_ctx(SSL_CTX* ctx) noexcept {
    const ossl::ErrorScope errors;
    return withoutThrowing(prepareTag, codeNoMemory, [&]() -> int {
        if (ctx == nullptr) {
            return codeInvalidArgument;
        }
        const std::string suites = suitesInReach(ctx);
        if (suites.empty()) {
            logFailureOf(prepareTag, {"No cipher suite is left that a key of a certificate store can serve"});
            return codeTlsRefused;
        }
        if (SSL_CTX_set_cipher_list(ctx, suites.c_str()) != 1 ||
            SSL_CTX_set1_sigalgs_list(ctx, storeKeySignatures) != 1) {
            const std::string reason = drainSslErrors();
            logFailureOf(prepareTag, {"The context cannot be restricted, error ", reason});
            return codeTlsRefused;
        }
        return 0;
    });
}

} // namespace CmnCrypto::WinCertStore
