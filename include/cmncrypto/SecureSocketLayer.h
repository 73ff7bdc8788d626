/** @file
 * A TLS connection as verification callbacks see it.
 */
#ifndef CMNCRYPTO_SECURESOCKETLAYER_H
#define CMNCRYPTO_SECURESOCKETLAYER_H

#include <openssl/types.h>

#include "cmncrypto/SslCtx.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {

/** A view of an SSL, which it does not own and must not outlive. */
class CMNCRYPTO_API SecureSocketLayer {
public:
    /** @param ssl stays the caller's; null leaves nothing to look at */
    explicit SecureSocketLayer(SSL* ssl) noexcept;

    SSL* get() const noexcept;                  ///< @return the connection, borrowed
    SslCtx getSslCtx() const noexcept;          ///< @return a view of the connection's context
    void updateSSLReference(SSL* ssl) noexcept; ///< Looks at another connection from now on.

private:
    SSL* m_ssl;
};

} // namespace CmnCrypto

#endif
