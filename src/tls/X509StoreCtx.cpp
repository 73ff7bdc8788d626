#include "cmncrypto/X509StoreCtx.h"

#include <new>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

X509StoreCtx::X509StoreCtx(X509_STORE_CTX* context) noexcept : m_context(context) {}

X509StoreCtx::~X509StoreCtx() = default;

STACK_OF(X509)* X509StoreCtx::getCertChain() const noexcept {
    return X509_STORE_CTX_get0_chain(m_context);
}

X509* X509StoreCtx::getCurrentCert() const noexcept {
    return X509_STORE_CTX_get_current_cert(m_context);
}

X509_CRL* X509StoreCtx::getCurrentCrl() const noexcept {
    return X509_STORE_CTX_get0_current_crl(m_context);
}

int X509StoreCtx::getError() const noexcept {
    return X509_STORE_CTX_get_error(m_context);
}

int X509StoreCtx::getErrorDepth() const noexcept {
    return X509_STORE_CTX_get_error_depth(m_context);
}

void X509StoreCtx::setErrorValue(int error) noexcept {
    X509_STORE_CTX_set_error(m_context, error);
}

SecureSocketLayer* X509StoreCtx::getSSL() {
    auto* const ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(m_context, SSL_get_ex_data_X509_STORE_CTX_idx()));
    if (ssl == nullptr) {
        return nullptr;
    }
    if (!m_ssl) {
        m_ssl.reset(new (std::nothrow) SecureSocketLayer(ssl));
    } else if (m_ssl->get() != ssl) {
        m_ssl->updateSSLReference(ssl);
    }
    return m_ssl.get();
}

} // namespace CmnCrypto
