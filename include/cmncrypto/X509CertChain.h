/** @file
 * Certificate chains.
 */
#ifndef CMNCRYPTO_X509CERTCHAIN_H
#define CMNCRYPTO_X509CERTCHAIN_H

#include <cstddef>
#include <string>
#include <vector>

#include <openssl/x509.h>

#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/X509Certificate.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {

/**
 * Certificates in the order in which they came: by convention the leaf first and the root last, but nothing is sorted
 * or verified here. The chain owns its certificates.
 *
 * Copies are shallow: both chains then refer to the same certificates, and the destructor of each deletes them. Keep
 * one owner of a chain and do not let two copies be destroyed. One thread at a time per object.
 */
class CMNCRYPTO_API X509CertChain : public LibraryObject {
public:
    X509CertChain() = default; ///< an empty chain
    /**
     * Copies the certificates of a stack, which stays the caller's.
     * @throws CmnException 20 for null, 36 when a certificate cannot be copied
     */
    explicit X509CertChain(const STACK_OF(X509)* certificates);
    /**
     * Reads every certificate of a PEM text or file; keys, lists and requests between them are passed over.
     * @param type INIT_TYPE_BLOB for the text itself, anything else for a file
     * @param leafOnly keep the first certificate only; for texts, not for files
     * @throws CmnException for a text: 5900 when it is empty, -1 when it holds no certificate, 13 when a block of it
     *         is malformed, 14 when it has 2 GiB or more, 36 when memory is short, and with @p leafOnly 36 for all of
     *         these but an empty text; for a file: 20 with
     *         @p leafOnly, 12 when it cannot be opened, 13 when it cannot be read, holds no certificate or a
     *         malformed one, 36 when memory is short
     */
    X509CertChain(const std::string& source, _INIT_TYPE type, bool leafOnly = false);
    X509CertChain(const X509CertChain& other) = default;            ///< shallow
    X509CertChain& operator=(const X509CertChain& other) = default; ///< shallow; what was held is not deleted
    ~X509CertChain() override;

    /** Appends a copy of @p certificate. @throws CmnException 10 when it cannot be copied */
    void addCertToCertChain(const X509Certificate& certificate);

    /**
     * @return a new copy of the certificate at @p position, to be deleted by the caller
     * @throws CmnException 5949 when there is none, 10 when it cannot be copied
     */
    X509Certificate* getCert(size_t position) const;
    X509Certificate* getLeafCert() const; ///< getCert() of the first position
    X509Certificate* getRootCert() const; ///< getCert() of the last position

    /** @return where the certificates begin; they stay the chain's */
    std::vector<X509Certificate*>::const_iterator getCertChainBegin() const noexcept;
    /** @return where they end */
    std::vector<X509Certificate*>::const_iterator getCertChainEnd() const noexcept;
    /** @return the number of certificates */
    size_t getCertChainLength() const noexcept;

    /**
     * @return a new stack of copies in the chain's order, to be released by the caller with its certificates; null
     *         for an empty chain
     * @throws CmnException 36 when memory is short
     */
    STACK_OF(X509)* getX509CertificateStack() const;

    /**
     * @param pem PEM text; "TRUSTED CERTIFICATE" blocks are read too
     * @return its first certificate, to be released by the caller
     * @throws CmnException 20 for null, 36 when there is no certificate or memory is short
     */
    static X509* getX509LeafCertFromBlob(const char* pem);

    /** @return the PEM texts of all certificates in the chain's order, empty for an empty chain
     *  @throws CmnException 5900 when one cannot be written */
    std::string getPemString() const;

    /**
     * Writes the PEM texts of all certificates to a new file; an existing one is never overwritten, and a failure
     * leaves none.
     * @throws CmnException 5949 for an empty chain, 5967 when the path exists, 12 when the file cannot be opened, 14
     *         when it cannot be written, 10 when memory is short
     */
    void saveToFile(const std::string& path) const;

private:
    friend class X509Store; ///< whose chains refer to certificates that OpenSSL has parsed already

    void initUsingPath(const std::string& path);
    void initUsingBlob(const std::string& blob, bool leafOnly);
    void pushCertToVector(X509* certificate);
    void pushCertStackToVector(const STACK_OF(X509)* certificates);
    void clearCertChainMemory();

    std::vector<X509Certificate*> m_certificates; ///< raw, as copies of a chain share them
};

} // namespace CmnCrypto

#endif
