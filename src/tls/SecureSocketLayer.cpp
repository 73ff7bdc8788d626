#include "cmncrypto/SecureSocketLayer.h"

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

SecureSocketLayer::SecureSocketLayer(SSL* ssl) noexcept : m_ssl(ssl) {}

SSL* SecureSocketLayer::get() const noexcept {
    return m_ssl;
}

SslCtx SecureSocketLayer::getSslCtx() const noexcept {
    return SslCtx(SSL_get_SSL_CTX(m_ssl));
}

void SecureSocketLayer::updateSSLReference(SSL* ssl) noexcept {
    m_ssl = ssl;
}

} // namespace CmnCrypto
