#include "cmncrypto/SecureSocketLayer.h"

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

SecureSocketLayer::SecureSocketLayer(SSL* ssl) noexcept : m_ssl(ssl) {}

SSL* SecureSocketLayer::get() const noexcept {
    return m_ssl;
}

SslCtx SecureSocketLayer::getSslCtx() const noexcept {
    return SslCtx(m_ssl != nullptr ? SSL_get_SSL_CTX(m_ssl) : nullptr);
}

void SecureSocketLayer::updateSSLReference(SSL* ssl) noexcept {
    m_ssl = ssl;
}

} // namespace CmnCrypto
