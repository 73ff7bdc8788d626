#ifndef CMNCRYPTO_TLS_CONTEXT_H
#define CMNCRYPTO_TLS_CONTEXT_H

#include <memory>
#include <string>

#include "ossl/OpenSsl.h"

namespace CmnCrypto::tls {

/**
 * A context, and how far it is set up. Connections go on reading the cipher suites of the context that they were made
 * from, so that a context with connections never gets another list, and no other kind of certificate beside its own.
 */
struct Context {
    explicit Context(OpenSslPtr<SSL_CTX> made) noexcept : ctx(std::move(made)) {}

    OpenSslPtr<SSL_CTX> ctx;
    bool isUsed = false;    ///< a set-up has begun on it
    bool isReady = false;   ///< a set-up was finished
    std::string cipherList; ///< what it was given; empty for none yet

    bool hasList(const char* list) const { return list != nullptr && !cipherList.empty() && cipherList == list; }

    /** @return whether a connection with this list and certificate can be made from it as it stands */
    bool serves(const char* list, const X509* certificate) const {
        const X509* const own = isReady ? SSL_CTX_get0_certificate(ctx.get()) : nullptr;
        return own != nullptr && hasList(list) && kindOf(own) == kindOf(certificate);
    }

private:
    static int kindOf(const X509* certificate) {
        const EVP_PKEY* const key = X509_get0_pubkey(certificate);
        return key != nullptr ? EVP_PKEY_get_base_id(key) : EVP_PKEY_NONE;
    }
};

} // namespace CmnCrypto::tls

#endif
