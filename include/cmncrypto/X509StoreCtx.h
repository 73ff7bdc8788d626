/** @file
 * A verification as its callback sees it.
 */
#ifndef CMNCRYPTO_X509STORECTX_H
#define CMNCRYPTO_X509STORECTX_H

#include <memory>

#include <openssl/x509_vfy.h>

#include "cmncrypto/SecureSocketLayer.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {

/**
 * A view of the context that OpenSSL hands to a verification callback. It owns nothing but its own wrapper of the
 * connection, and must not outlive the callback's call. It cannot be copied.
 */
class CMNCRYPTO_API X509StoreCtx {
public:
    /** @param context stays OpenSSL's; not null */
    explicit X509StoreCtx(X509_STORE_CTX* context) noexcept;
    X509StoreCtx(const X509StoreCtx&) = delete;
    X509StoreCtx& operator=(const X509StoreCtx&) = delete;
    ~X509StoreCtx();

    STACK_OF(X509)* getCertChain() const noexcept; ///< @return the chain as far as it was built, borrowed; may be null
    X509* getCurrentCert() const noexcept;         ///< @return the certificate in question, borrowed; may be null
    X509_CRL* getCurrentCrl() const noexcept;      ///< @return the list in question, borrowed; may be null
    int getError() const noexcept;                 ///< @return the X509_V_ERR_ value, X509_V_OK for none
    int getErrorDepth() const noexcept;            ///< @return where in the chain it occurred, 0 for the leaf
    void setErrorValue(int error) noexcept;        ///< Replaces the X509_V_ERR_ value.

    /**
     * @return the TLS connection for which the certificate is verified, borrowed: the wrapper lives as long as this
     *         object and follows the context; null when there is none or memory is short
     */
    SecureSocketLayer* getSSL();

private:
    X509_STORE_CTX* m_context;
    std::unique_ptr<SecureSocketLayer> m_ssl;
};

} // namespace CmnCrypto

#endif
