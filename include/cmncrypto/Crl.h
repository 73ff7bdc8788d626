/** @file
 * Certificate revocation lists (RFC 5280, 5) and the decision whether a certificate is revoked.
 */
#ifndef CMNCRYPTO_CRL_H
#define CMNCRYPTO_CRL_H

#include <cstdint>
#include <string>

#include <openssl/types.h>

#include "cmncrypto/CrlConversionException.h"
#include "cmncrypto/CrlConverter.h"
#include "cmncrypto/OpenSslPtr.h"
#include "cmncrypto/X509Name.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {
class X509CertChain;
class X509Certificate;
} // namespace CmnCrypto

/** Outcome of a revocation check. */
enum CCRYPTStatus : int32_t {
    CCRYPT_SUCCESS = 0,               ///< not revoked, by a list that is fresh and genuine
    CCRYPT_CERT_REVOKED = 3,          ///< the serial number is on the list
    CCRYPT_CRL_STALE = 4,             ///< the list was issued longer ago than allowed
    CCRYPT_CRL_VERIFY_ERROR = 6,      ///< the list's signature could not be checked
    CCRYPT_CRL_SIGNATURE_FAILURE = 10 ///< the list's signature is another key's
};

/** What a list says about a revoked certificate. */
class RevokeInfo {
public:
    /** "0x" and the serial number as X509Certificate::getSerialNumber() writes it, NUL-terminated; the caller's, to
     *  be released with delete[] */
    char* serialNumber = nullptr;
    /** when it was revoked, in seconds since 1970-01-01 00:00:00 UTC; wraps after 2038-01-19 */
    int32_t revocationTime = 0;
    /** CRLReason (RFC 5280, 5.3.1); -1 when the list gives none */
    int32_t reason = -1;
};

/** Names of the bits of ReasonFlags (RFC 5280, 4.2.1.13), by bit number. */
inline constexpr const char* crlReasonFlagNames[] = {
    "unused",          "keyCompromise",      "cACompromise", "affiliationChanged", "superseded", "cessationOfOperation",
    "certificateHold", "privilegeWithdrawn", "aACompromise"};

/**
 * One revocation list in three forms: DER, PEM and OpenSSL's object. After a constructor or setter that succeeds
 * they are the same list. An empty object logs a warning and has no dates, issuer or number.
 *
 * A list costs about ten times its DER in memory, most of it in OpenSSL's object. One thread at a time per object.
 */
class CMNCRYPTO_API Crl {
public:
    Crl() noexcept; ///< empty: no list
    /** Takes a list over as setPemCrl() does. @throws CrlConversionException with the code */
    explicit Crl(const std::string& pem);
    /** Takes a list over as setDerCrl() does. @throws CrlConversionException with the code */
    explicit Crl(const BinaryData& der);
    /** Copies @p crl, which stays the caller's. @throws CrlConversionException 9300 when that fails, also for null */
    explicit Crl(const X509_CRL* crl);
    /** @throws CrlConversionException 36 when the list cannot be copied */
    Crl(const Crl& other);
    Crl(Crl&& other) noexcept; ///< leaves @p other empty
    /** @throws CrlConversionException 36 when the list cannot be copied; the object is then as it was */
    Crl& operator=(const Crl& other);
    Crl& operator=(Crl&& other) noexcept; ///< exchanges the lists
    ~Crl();

    /**
     * Replaces the list by the first one of a PEM text, see CrlConverter::pemToX509Crl(). A setter that fails goes no
     * way back: the given form is stored, the object has no list, and the third form is that of the list before.
     * @return 0; 9301 when there is no list, 9300 when it cannot be written again, 36 when memory is short
     */
    int setPemCrl(const std::string& pem);
    /** Replaces the list by one in DER; failures as for setPemCrl(). */
    int setDerCrl(const BinaryData& der);
    /** Replaces the list by a copy of @p crl, which stays the caller's. @return 0, 9300 or 36 */
    int setX509Crl(const X509_CRL* crl);
    /**
     * Replaces the list by the one in a file, DER or PEM.
     * @throws CmnException 9308 when there is none, 9300 or 36 when it cannot be written again
     */
    void loadFromPath(const std::string& path);

    const BinaryData& getDerCrl() const noexcept;  ///< @return the DER form; empty without a list
    const std::string& getPemCrl() const noexcept; ///< @return the PEM form; empty without a list
    X509_CRL* getX509Crl() const noexcept;         ///< @return OpenSSL's object, borrowed; null without a list

    /** @return a copy of the issuer's name; an empty name without a list @throws CmnException -1, 36 */
    CmnCrypto::X509Name getIssuer() const;
    /** @return when the list was issued (thisUpdate), borrowed and not to be changed; null without a list */
    ASN1_TIME* getLastUpdate() const;
    /** @return the version as it is encoded: 0 for version 1, 1 for version 2; 0 without a list */
    long getVersion() const;
    /**
     * @return what atol() makes of the encoded cRLNumber, which is 0 for most lists and not the number; -1 without
     *         that extension or without a list
     */
    long getCrlNumber() const;

    /** @return whether this is a delta list (RFC 5280, 5.2.4) */
    bool isDeltaCRL() const;
    /** @return whether nextUpdate has come; true also without nextUpdate or without a list */
    bool isExpired() const;
    /** @return whether this list was issued later than @p other, by a second at least; a list is newer than none */
    bool isNewerThan(const Crl& other) const;

    bool operator==(const Crl& other) const; ///< @return whether the PEM forms are equal
    bool operator!=(const Crl& other) const; ///< @return whether the PEM forms differ

    void swap(Crl& other) noexcept; ///< Exchanges the lists.

    /**
     * Decides whether a certificate is revoked, in this order: the arguments, no delta list, the signature by the first
     * certificate of @p caBundle, the age, the serial number. Nothing is remembered from one call to the next. Whether
     * the list comes from the certificate's issuer, and nextUpdate, are not looked at; see X509Store for both.
     * @param caBundle the issuer of the list comes first; no other certificate is tried
     * @param maxAgeSeconds how long ago the list may have been issued. An age that reaches back before the year 1900 is
     *                      beyond OpenSSL's arithmetic (code 1): "any age" is 100 years, say, not UINT_MAX
     * @param certificate the certificate in question
     * @param info filled for a revoked certificate, otherwise left as it is; what its serialNumber pointed to before
     *             is not released
     * @return CCRYPT_SUCCESS, CCRYPT_CERT_REVOKED, or CCRYPT_CRL_STALE, where the serial number is not looked for. An
     *         entry removeFromCRL does not revoke
     * @throws CmnException 5 for a null argument; 1 for a delta list, for a list that the first certificate has not
     *         signed, for an object, bundle or certificate without content and for malformed dates; 2 when memory is
     *         short
     */
    CCRYPTStatus checkCertRevokeStatus(CmnCrypto::X509CertChain* caBundle, unsigned int maxAgeSeconds,
                                       CmnCrypto::X509Certificate* certificate, RevokeInfo* info) const;

private:
    int useX509Crl(CmnCrypto::OpenSslPtr<X509_CRL> crl);
    const ASN1_TIME* getNextUpdate() const;
    CCRYPTStatus checkCrlSignAuth(CmnCrypto::X509CertChain* caBundle) const;
    CCRYPTStatus getCertRevokeState(CmnCrypto::X509Certificate* certificate, RevokeInfo* info) const;
    CCRYPTStatus isStaleCrl(unsigned int maxAgeSeconds) const;
    int findEntry(const ASN1_INTEGER* serial, X509_REVOKED** entry) const;

    BinaryData m_derCrl;
    std::string m_pemCrl;
    CmnCrypto::OpenSslPtr<X509_CRL> m_x509Crl;
    mutable bool m_searched = false; ///< the list was searched once: from now on it pays to have it sorted
};

#endif
