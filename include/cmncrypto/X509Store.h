/** @file
 * Verification of certificate chains.
 */
#ifndef CMNCRYPTO_X509STORE_H
#define CMNCRYPTO_X509STORE_H

#include <cstdint>
#include <memory>
#include <string>

#include <openssl/x509_vfy.h>

#include "cmncrypto/OpenSslPtr.h"
#include "cmncrypto/X509CertChain.h"
#include "cmncrypto/X509CrlChain.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/** Outcome of a verification. */
struct _storeStatus {
    bool verified = false; ///< whether the chain was accepted
    int32_t code = 0;      ///< 0, an X509_V_ERR_ value, or a product status code
    std::string message;   ///< the outcome as text
};

/**
 * Verifies certificate chains against trusted certificates and revocation lists by OpenSSL's path validation (RFC 5280,
 * 6). It starts with nothing trusted and no lists; everything is set in any order, and as many chains as wanted are
 * verified then. Copies are independent of each other. One thread at a time per object.
 */
class CMNCRYPTO_API X509Store {
public:
    /** @throws CmnException 36 when memory is short */
    X509Store();
    /** Copies trust, lists, level, callback and outcome. @throws CmnException 36 or -1 when memory is short */
    X509Store(const X509Store& other);
    /** As the copy constructor; after a failure the object is as it was. */
    X509Store& operator=(const X509Store& other);
    virtual ~X509Store();

    /**
     * Replaces the trusted certificates by those of a PEM text. A chain must lead to one that signed itself. The
     * settings of a "TRUSTED CERTIFICATE" block hold: what it rejects is not trusted.
     * @throws CmnException as X509CertChain does for a text; the trusted certificates are then as they were
     */
    void setTrustedCerts(const std::string& pem);

    /**
     * Replaces the revocation lists by those of a PEM text, or by none for an empty one. They are looked at only with
     * a check level.
     * @throws CmnException as X509CrlChain does; there are no lists then
     */
    void setCrl(const std::string& pem);

    /**
     * Says whose revocation is checked: CRL_CHECK_LEAF (X509_V_FLAG_CRL_CHECK) or CRL_CHECK_CHAIN (that and
     * X509_V_FLAG_CRL_CHECK_ALL). A certificate without a list that covers it is then rejected.
     * @throws CmnException 20 for any other level; 36, 9320 and 5942 when the level cannot be set: the checks are then
     *         those of the level before
     */
    void setCrlCheckLevel(crl_check_level level);

    /**
     * Has OpenSSL ask @p callback about every step, as X509_STORE_set_verify_cb() describes; it must not throw.
     * Null is ignored.
     */
    void setVerifyCallback(int (*callback)(int, X509_STORE_CTX*));

    /**
     * Verifies a chain at the present time.
     * @param pemChain PEM text; the leaf comes first, the others help to find the way to a trusted one
     * @return 0 when there is a chain, accepted or rejected: getStatus() tells; -1 when OpenSSL built none and there is
     *         none from before
     * @throws CmnException as X509CertChain does for a text; 36 and 7627 when the verification cannot begin. The
     *         outcome is then the exception's code and text
     * @throws std::bad_alloc when memory is short; the outcome's code is 36
     */
    int verifyX509Cert(const std::string& pemChain);

    /** @return the outcome of the last verification, or of a level that could not be set (9105) */
    const _storeStatus& getStatus() const noexcept;

    /** @return the chain that OpenSSL built last, leaf first, as PEM text, as far as it got when it was rejected; empty
     *          when there is none */
    std::string getVerifiedCertChain() const;
    /** @return that chain, borrowed: valid until the next verification or assignment, and never to be changed, as its
     *          certificates are those that are trusted here; null when there is none */
    const X509CertChain* getVerifiedX509CertChain() const noexcept;

private:
    void setVerifyParam(const X509_VERIFY_PARAM* param);
    static std::unique_ptr<X509CertChain> chainOver(const STACK_OF(X509)* certificates);
    bool keepChain(const X509_STORE_CTX* context);
    int accept(const X509_STORE_CTX* context);
    int reject(const X509_STORE_CTX* context);

    OpenSslPtr<X509_STORE> m_store;
    OpenSslPtr<STACK_OF(X509)> m_trusted;
    std::unique_ptr<X509CrlChain> m_crls;
    std::unique_ptr<X509CertChain> m_verifiedChain;
    OpenSslPtr<X509_VERIFY_PARAM> m_verifyParam;
    _storeStatus m_status;
};

} // namespace CmnCrypto

#endif
