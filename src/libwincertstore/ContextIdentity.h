#ifndef CMNCRYPTO_LIBWINCERTSTORE_CONTEXTIDENTITY_H
#define CMNCRYPTO_LIBWINCERTSTORE_CONTEXTIDENTITY_H

#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/** Certificate, key and chain that a context had at some time, so that a failed renewal can put them back. */
class ContextIdentity {
public:
    explicit ContextIdentity(SSL_CTX* ctx) : m_ctx(ctx) {
        X509* const certificate = SSL_CTX_get0_certificate(ctx);
        EVP_PKEY* const key = SSL_CTX_get0_privatekey(ctx);
        STACK_OF(X509)* chain = nullptr;
        SSL_CTX_get0_chain_certs(ctx, &chain);
        if (certificate != nullptr && key != nullptr) {
            X509_up_ref(certificate);
            m_certificate.reset(certificate);
            EVP_PKEY_up_ref(key);
            m_key.reset(key);
            m_chain.reset(chain != nullptr ? X509_chain_up_ref(chain) : nullptr);
        }
    }

    void putBack() const {
        if (m_certificate) {
            SSL_CTX_use_cert_and_key(m_ctx, m_certificate.get(), m_key.get(), m_chain.get(), 1);
        }
    }

private:
    SSL_CTX* m_ctx;
    OpenSslPtr<X509> m_certificate;
    OpenSslPtr<EVP_PKEY> m_key;
    OpenSslPtr<STACK_OF(X509)> m_chain;
};

} // namespace CmnCrypto::WinCertStore

#endif
