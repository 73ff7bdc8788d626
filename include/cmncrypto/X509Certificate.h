/** @file
 * X.509 certificates (RFC 5280).
 */
#ifndef CMNCRYPTO_X509CERTIFICATE_H
#define CMNCRYPTO_X509CERTIFICATE_H

#include <string>

#include <openssl/types.h>

#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * Wraps one certificate, owned or borrowed. Copies are deliberately empty. One thread at a time per object.
 * A query on an empty object throws CmnException with code 20.
 */
class CMNCRYPTO_API X509Certificate : public LibraryObject {
public:
    /** Takes @p certificate as it is; @p owns says whether the object releases it. */
    X509Certificate(X509* certificate, bool owns);
    /** Makes an empty object: callers rely on copies never sharing a certificate. */
    X509Certificate(const X509Certificate& other);
    /** Leaves the object as it is and returns an empty one, as the copy constructor does. */
    X509Certificate operator=(const X509Certificate& other); // NOLINT(misc-unconventional-assign-operator)
    ~X509Certificate() override;

    /**
     * @return the fingerprint: the digest of the DER form, upper-case hexadecimal pairs joined by ":"
     * @throws CmnException 20 for an algorithm without a fingerprint or an empty object, 13 when OpenSSL fails
     */
    std::string generateHash(_HASH_ALGO algorithm);

    /**
     * The fingerprint as raw bytes.
     * @param out holds as many bytes as the digest has
     * @throws CmnException as the text form; 20 for a null @p out
     */
    void generateHash(unsigned char* out, _HASH_ALGO algorithm) const;

    /** @return the wrapped certificate, borrowed; null for an empty object */
    X509* getX509() const noexcept;

private:
    X509* m_certificate;
    bool m_owns;
};

} // namespace CmnCrypto

#endif
