/** @file
 * A TLS context as verification callbacks see it.
 */
#ifndef CMNCRYPTO_SSLCTX_H
#define CMNCRYPTO_SSLCTX_H

#include <openssl/types.h>

#include "cmncrypto/export.h"

namespace CmnCrypto {

/** A view of an SSL_CTX, which it does not own and must not outlive. */
class CMNCRYPTO_API SslCtx {
public:
    /** @param context stays the caller's; null leaves nothing to look at */
    explicit SslCtx(SSL_CTX* context) noexcept;

    SSL_CTX* get() const noexcept; ///< @return the context, borrowed

    /** @return what setExData() has put at @p index, null when nothing */
    void* getExData(int index) const noexcept;
    /** Keeps a pointer with the context, which does not release it. @param index from getNewIndex()
     *  @return 1, 0 when memory is short */
    int setExData(int index, void* data) noexcept;
    /** @return a new index for setExData(), good for every context; -1 when memory is short */
    static int getNewIndex() noexcept;

    /** Has OpenSSL ask @p callback about every step of the peer's verification; whether the peer is verified at all
     *  stays as it is. Null removes it. It must not throw. */
    void setVerifyCallback(int (*callback)(int, X509_STORE_CTX*)) noexcept;

private:
    SSL_CTX* m_context;
};

} // namespace CmnCrypto

#endif
