/** @file
 * Several revocation lists in one PEM text.
 */
#ifndef CMNCRYPTO_X509CRLCHAIN_H
#define CMNCRYPTO_X509CRLCHAIN_H

#include <cstdint>
#include <string>

#include <openssl/x509.h>

#include "cmncrypto/OpenSslPtr.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {

/** The revocation lists of a PEM text, one at least, and the text. It cannot be copied. One thread at a time. */
class CMNCRYPTO_API X509CrlChain {
public:
    /**
     * Reads every list of a PEM text, which ends at its first NUL; certificates and keys between them are passed
     * over. Nothing asks for a pass phrase.
     * @throws CmnException 20 for an empty text, 14 when it has 2 GiB or more, 36 when memory is short, -1 when a
     *         block is malformed or there is no list
     */
    explicit X509CrlChain(const std::string& pem);
    X509CrlChain(const X509CrlChain& other) = delete;
    X509CrlChain& operator=(const X509CrlChain& other) = delete;
    ~X509CrlChain();

    /** @return the number of lists @throws CmnException -1 */
    uint64_t getCRLChainLength() const;
    /**
     * @return a copy of the list at @p index, to be released by the caller with X509_CRL_free()
     * @throws CmnException 20 when there is none, 36 when it cannot be copied
     */
    X509_CRL* getCRLatIndex(const unsigned int& index) const;
    /** @return the text, whole */
    const std::string& getCrlChainBlob() const noexcept;
    /** @return the lists, borrowed: they stay the chain's */
    STACK_OF(X509_CRL)* getX509Crls() const noexcept;

private:
    int extractX509CrlFromString();

    std::string m_crlChainBlob;
    OpenSslPtr<STACK_OF(X509_CRL)> m_x509Crls;
};

} // namespace CmnCrypto

#endif
