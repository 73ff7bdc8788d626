// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedDh.h"
// clang-format on

#include "frame/Failure.h"
#include "hashing/DhGroup.h"
#include "ossl/ErrorQueue.h"
#include "tls/TlsRecipe.h"

namespace CmnCrypto::tls {

namespace {

void initDh(SSL_CTX* context) {
    constexpr const char* function = "initCiphers";
    const OpenSslPtr<DH> group = makeDh2048();
    if (!group) {
        clogmsg(logFailure, function, "Could not get DH parameters");
        ossl::clearErrors();
        return;
    }
    if (SSL_CTX_set_tmp_dh(context, group.get()) != 1) {
        clogmsg(logFailure, function, "Could not perform DH initialization. Failed with [%s]",
                drainSslErrors().c_str());
        return;
    }
    clogmsg(logInfo, function, "Successfully initialized DH");
}

/** OpenSSL 3 chooses the curve itself, and its call does nothing. */
void initEcdh([[maybe_unused]] SSL_CTX* context) {
    constexpr const char* function = "initCiphers";
    if (SSL_CTX_set_ecdh_auto(context, 1) != 1) {
        clogmsg(logFailure, function, "Could not perform ECDH initialization. Failed with [%s]",
                drainSslErrors().c_str());
        return;
    }
    clogmsg(logInfo, function, "Successfully initialized ECDH");
}

/** TLS 1.2 and nothing else, by both ways that there are, and whatever the host's OpenSSL configuration has set. */
bool setProtocol(SSL_CTX* context) {
    constexpr auto refused =
        SSL_OP_NO_SSLv2 | SSL_OP_NO_SSLv3 | SSL_OP_NO_TLSv1 | SSL_OP_NO_TLSv1_1 | SSL_OP_NO_TLSv1_3 | SSL_OP_NO_TICKET;
    constexpr auto wanted = SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_SINGLE_DH_USE;
    SSL_CTX_clear_options(context, SSL_OP_NO_TLSv1_2 | SSL_OP_PRIORITIZE_CHACHA);
    SSL_CTX_set_options(context, refused | wanted);
    return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1;
}

} // namespace

int setCiphers(Context& context, const char* cipherList) {
    SSL_CTX* const ctx = context.ctx.get();
    initDh(ctx);
    initEcdh(ctx);
    if (context.hasList(cipherList)) {
        return 0; // connections that were made from it may be reading it at this moment
    }
    if (!setProtocol(ctx) || cipherList == nullptr || SSL_CTX_set_cipher_list(ctx, cipherList) != 1) {
        clogmsg(logFailure, "setCiphers", "Error: SSL_CTX_set_cipher_list() failed with error %s",
                drainSslErrors().c_str());
        return codeTlsRefused;
    }
    context.cipherList = cipherList;
    SSL_CTX_set_mode(ctx, SSL_MODE_AUTO_RETRY);
    SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_OFF);
    return 0;
}

} // namespace CmnCrypto::tls
