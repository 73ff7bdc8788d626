// What a context that signs with a store's key may offer.

#include "libwincertstore/StoreContext.h"

#include <string>
#include <utility>

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* prepareTag = "WinCertStoreOpenSSLHelper::prepare_ssl_ctx";

/** The cipher suites of a context below TLS 1.3, joined by ":". */
struct Suites {
    std::string all;
    std::string inReach; ///< those that a store's key can serve
};

void appendName(std::string& names, const char* name) {
    names.append(names.empty() ? "" : ":").append(name);
}

Suites suitesOf(const SSL_CTX* ctx) {
    Suites suites;
    const STACK_OF(SSL_CIPHER)* const ciphers = SSL_CTX_get_ciphers(ctx);
    for (int index = 0; index < sk_SSL_CIPHER_num(ciphers); ++index) {
        const SSL_CIPHER* const cipher = sk_SSL_CIPHER_value(ciphers, index);
        const int exchange = SSL_CIPHER_get_kx_nid(cipher);
        if (exchange == NID_kx_any) {
            continue; // TLS 1.3 has a list of its own
        }
        appendName(suites.all, SSL_CIPHER_get_name(cipher));
        if (exchange != NID_kx_rsa && exchange != NID_kx_rsa_psk) { // these need the key to decrypt
            appendName(suites.inReach, SSL_CIPHER_get_name(cipher));
        }
    }
    return suites;
}

/** Leaves only suites in reach; a list that is right stays untouched, as connections may be reading it. */
bool restrictSuites(SSL_CTX* ctx, const Suites& suites) {
    return suites.all == suites.inReach || SSL_CTX_set_cipher_list(ctx, suites.inReach.c_str()) == 1;
}

/** A store's key cannot sign for TLS 1.3, which has PSS only. @return whether a version is left */
bool restrictVersion(SSL_CTX* ctx) {
    return SSL_CTX_get_min_proto_version(ctx) <= TLS1_2_VERSION &&
           SSL_CTX_set_max_proto_version(ctx, TLS1_2_VERSION) == 1;
}

} // namespace

bool restrictSignatures(SSL_CTX* ctx) {
    // Left to itself, OpenSSL would pad PSS on its own and ask the key's method for a bare block.
    constexpr const char* own = "RSA+SHA512:RSA+SHA384:RSA+SHA256:RSA+SHA224";
    constexpr const char* peers = "ECDSA+SHA256:ECDSA+SHA384:ECDSA+SHA512:ed25519:ed448:"
                                  "rsa_pss_pss_sha256:rsa_pss_pss_sha384:rsa_pss_pss_sha512:"
                                  "rsa_pss_rsae_sha256:rsa_pss_rsae_sha384:rsa_pss_rsae_sha512:"
                                  "RSA+SHA256:RSA+SHA384:RSA+SHA512:RSA+SHA224";
    // OpenSSL's first list is what a server signs with and a client accepts, the second one the reverse.
    const bool isClient = SSL_CTX_get_ssl_method(ctx) == TLS_client_method();
    return SSL_CTX_set1_sigalgs_list(ctx, isClient ? peers : own) == 1 &&
           SSL_CTX_set1_client_sigalgs_list(ctx, isClient ? own : peers) == 1;
}

OpenSslPtr<SSL_CTX> trialContext(SSL_CTX* ctx) {
    OpenSslPtr<SSL_CTX> trial(SSL_CTX_new(SSL_CTX_get_ssl_method(ctx)));
    const Suites suites = suitesOf(ctx);
    if (!trial || SSL_CTX_set_cipher_list(trial.get(), suites.all.c_str()) != 1) {
        return nullptr;
    }
    SSL_CTX_set_security_level(trial.get(), SSL_CTX_get_security_level(ctx));
    const long oldest = SSL_CTX_get_min_proto_version(ctx);
    return SSL_CTX_set_min_proto_version(trial.get(), oldest) == 1 ? std::move(trial) : nullptr;
}

int WinCertStoreOpenSSLHelper::prepare_ssl_ctx(SSL_CTX* ctx) noexcept {
    const ossl::ErrorScope errors;
    return withoutThrowing(prepareTag, codeNoMemory, [&]() -> int {
        if (ctx == nullptr) {
            return codeInvalidArgument;
        }
        const Suites suites = suitesOf(ctx);
        if (suites.inReach.empty()) {
            logFailureOf(prepareTag, {"No cipher suite is left that a key of a certificate store can serve"});
            return codeTlsRefused;
        }
        if (!restrictVersion(ctx) || !restrictSuites(ctx, suites) || !restrictSignatures(ctx)) {
            const std::string reason = drainSslErrors();
            logFailureOf(prepareTag, {"The context cannot be restricted, error ", reason});
            return codeTlsRefused;
        }
        return 0;
    });
}

} // namespace CmnCrypto::WinCertStore
