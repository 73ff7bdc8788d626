#include "cmncrypto/SslCtx.h"

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

SslCtx::SslCtx(SSL_CTX* context) noexcept : m_context(context) {}

SSL_CTX* SslCtx::get() const noexcept {
    return m_context;
}

void* SslCtx::getExData(int index) const noexcept {
    return m_context != nullptr ? SSL_CTX_get_ex_data(m_context, index) : nullptr;
}

int SslCtx::setExData(int index, void* data) noexcept {
    return m_context != nullptr ? SSL_CTX_set_ex_data(m_context, index, data) : 0;
}

int SslCtx::getNewIndex() noexcept {
    return SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
}

void SslCtx::setVerifyCallback(int (*callback)(int, X509_STORE_CTX*)) noexcept {
    if (m_context != nullptr) {
        SSL_CTX_set_verify(m_context, SSL_CTX_get_verify_mode(m_context), callback);
    }
}

} // namespace CmnCrypto
