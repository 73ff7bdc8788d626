/** @file
 * X.509 certificates (RFC 5280) and PKCS#12 bundles (RFC 7292).
 */
#ifndef CMNCRYPTO_X509CERTIFICATE_H
#define CMNCRYPTO_X509CERTIFICATE_H

#include <bitset>
#include <cstdint>
#include <string>
#include <vector>

#include <openssl/types.h>
#include <openssl/x509v3.h>

#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/X509Name.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/** What a text argument is. */
enum _INIT_TYPE : int32_t {
    INIT_TYPE_BLOB = 0, ///< the PEM text itself
    INIT_TYPE_PATH = 1  ///< the path of a PEM file
};

/** The two dates of a certificate. */
enum CertDate : int32_t {
    CERT_DATE_EXPIRY = 0, ///< notAfter
    CERT_DATE_START = 1   ///< notBefore
};

/**
 * Wraps one certificate, owned or borrowed. Copies are deliberately empty; X509Certificate_dup() copies.
 *
 * A query on an empty object ends as if the certificate lacked what was asked for, where the operation has an answer
 * or a failure for that, and in a CmnException with code 20 otherwise. One thread at a time per object.
 */
class CMNCRYPTO_API X509Certificate : public LibraryObject {
public:
    /**
     * Reads the first certificate of a PEM text or file ("CERTIFICATE"); what follows it is not looked at. Nothing
     * asks for a pass phrase.
     * @param type INIT_TYPE_PATH for a file, anything else for the text itself
     * @throws CmnException 5900 when there is no certificate, 36 when memory is short; for a file also 12 when it
     *         cannot be opened and 15 when it cannot be closed
     */
    X509Certificate(const std::string& source, _INIT_TYPE type);
    /** Takes @p certificate as it is; @p owns says whether the object releases it. */
    X509Certificate(X509* certificate, bool owns);
    /** Copies @p certificate, which stays the caller's. @throws CmnException 36 when that fails, also for null */
    explicit X509Certificate(const X509* certificate);
    /** Makes an empty object: callers rely on copies never sharing a certificate. */
    X509Certificate(const X509Certificate& other);
    /** Leaves the object as it is and returns an empty one, as the copy constructor does. */
    X509Certificate operator=(const X509Certificate& other); // NOLINT(misc-unconventional-assign-operator)
    /**
     * Releases the certificate and the distribution points of getCertCdps(), both only when the object owns the
     * certificate: whoever borrows takes what getCertCdps() returned and releases it with CRL_DIST_POINTS_free().
     */
    ~X509Certificate() override;

    /**
     * @return a new object with a copy of the certificate, to be deleted by the caller; null when the object itself
     *         cannot be allocated
     * @throws CmnException 10 when the certificate cannot be copied, also for an empty object
     */
    X509Certificate* X509Certificate_dup() const;

    /** Releases @p *certificate, if any, and sets it to null. */
    static void releaseCertificate(X509** certificate);

    X509Name getIssuer() const;  ///< @return a copy of the issuer's name
    X509Name getSubject() const; ///< @return a copy of the subject's name
    /** @return the issuer's name as X509Name::getNameDN() writes it */
    std::string getIssuerAsString(_name_format format) const;
    /** @return the subject's name as X509Name::getNameDN() writes it */
    std::string getSubjectAsString(_name_format format) const;

    /** @return the serial number, upper-case hexadecimal without separators, "-" before a negative one; never throws:
     *          empty when it cannot be read */
    std::string getSerialNumber() const;

    std::string getStartDate() const;  ///< getCertitifcateDate() of notBefore
    std::string getExpiryDate() const; ///< getCertitifcateDate() of notAfter
    /** @return "Jan  2 03:04:05 2030 GMT", "Bad time value" for a malformed date @throws CmnException -1 for another
     *          @p date, 20 for an empty object */
    std::string getCertitifcateDate(CertDate date) const;

    /**
     * @return notAfter as seconds since 1970-01-01 00:00:00 UTC, computed in 32 bits: dates after
     *         2038-01-19 03:14:07 wrap to negative numbers, and callers compare with numbers made the same way
     * @throws CmnException 5904 when the date is malformed
     */
    int64_t getExpiryDateEPOC() const;
    /** @return whether notAfter lies before the present second @throws CmnException 5904 when it is malformed */
    bool isCertExpired() const;
    /** @return whether notBefore lies at or before the present second; notAfter is not looked at
     *  @throws CmnException 5904 when notBefore is malformed */
    bool isCertValidNow() const;

    /** @return the bits of the public key; 0 when OpenSSL does not know its kind */
    uint16_t getKeySize() const;

    /**
     * @return the fingerprint: the digest of the DER form, upper-case hexadecimal pairs joined by ":"
     * @throws CmnException 20 for an algorithm without a fingerprint or an empty object, 13 when OpenSSL fails
     */
    std::string generateHash(_HASH_ALGO algorithm) const;

    /**
     * The fingerprint as raw bytes.
     * @param out holds as many bytes as the digest has
     * @throws CmnException as the text form; 20 for a null @p out
     */
    void generateHash(unsigned char* out, _HASH_ALGO algorithm) const;

    /**
     * @return the subject alternative names in the certificate's order: rfc822Name, dNSName and URI as their bytes
     *         stand there, zero bytes included; iPAddress as text, IPv6 unshortened. Other kinds are left out.
     */
    std::vector<std::string> getSubjectAltNames() const;
    /** @return the subject key identifier in the form of a fingerprint, empty when there is none */
    std::string getSubjectKeyIdentifier() const;
    /** @return the keyIdentifier of the authority key identifier in the form of a fingerprint, empty when there is
     *          none */
    std::string getAuthorityKeyIdentifier() const;

    /** @return the certificate in PEM, lines ending in a line feed @throws CmnException 5900 when that fails */
    std::string getPemString() const;
    /**
     * Writes the PEM to a new file; an existing one is never overwritten, and a failure leaves none.
     * @throws CmnException -1 when the path exists, 12 when the file cannot be opened, 14 when it cannot be written,
     *         10 when memory is short
     */
    void saveToFile(const std::string& path) const;

    /** Accepts every signature algorithm but MD5 with RSA. @throws CmnException 8799 when it is refused or cannot be
     *  read, 10 when memory is short */
    void validateAlgorithm() const;

    /**
     * Decodes the CRL distribution points at its first call and keeps them.
     * @return borrowed from the object (see the destructor); null when the certificate has none
     */
    STACK_OF(DIST_POINT)* getCertCdps();
    /** @return the number of CRL distribution points */
    int getCdpsCount();
    /**
     * @param reasons bit i stands for bit i of the ReasonFlags of RFC 5280, 4.2.1.13 (1 keyCompromise to
     *                8 aACompromise)
     * @return the HTTP and HTTPS URLs, without zero bytes, of the distribution points that cover all of @p reasons and
     * whose lists the certificate's own issuer signs, in order
     */
    std::vector<std::string> getHttpURLsFromCertCDPs(const std::bitset<9>& reasons);
    /** @return the URIs of a full name that begin with "http://" or "https://" in any case and hold no zero byte; none
     *          for null */
    static std::vector<std::string> getHttpURLsFromDistPointName(const DIST_POINT_NAME* name);
    /** @return whether @p point covers all of @p reasons; one without reasons covers all, null covers none */
    static bool processReasons(const std::bitset<9>& reasons, DIST_POINT*& point);
    /** @return whether a directory name among @p names equals @p name; false for null */
    static bool isMatchingX509NameExists(const GENERAL_NAMES* names, const X509Name& name);
    /** @return 0 when there is a URL that covers all reasons, or any reasons where it belongs to the only
     *          distribution point; 9323 otherwise */
    int validateCDPsURLs();

    /**
     * Packs a certificate and its private key into a PKCS#12 bundle, with OpenSSL's own choice of algorithms. While
     * FIPS mode is on, OpenSSL 3.0 can neither pack nor unpack: the key derivation of PKCS#12 is not a FIPS one.
     * @param password NUL-terminated; null for none
     * @param out holds @p *length bytes
     * @param length the size of @p out, then the number of bytes written: a bundle that is larger is cut silently
     * @throws CmnException 14 when the bundle cannot be made (a key that does not match, for example), 36 when memory
     *         is short, 20 for a null @p out or @p length or a negative length
     */
    static void convertToPKCS12(X509* certificate, EVP_PKEY* key, char* password, unsigned char* out, int* length);

    /**
     * Unpacks the private key and its certificate of a PKCS#12 bundle. While FIPS mode is off, bundles in the formats
     * of older systems are read too, where OpenSSL's legacy provider is installed.
     * @param password NUL-terminated; null for none
     * @param certificate receives the certificate of the key, to be released by the caller; null when there is none
     * @param key receives the key, to be released by the caller; null when the bundle has none
     * @throws CmnException 12 for no data, 13 when they are no bundle or the password is wrong, 36 when memory is
     *         short, 20 for null outputs; both outputs are then null
     */
    static void extractCertFromPKCS12(const unsigned char* data, int length, const char* password, X509** certificate,
                                      EVP_PKEY** key);

    /** @return the wrapped certificate, borrowed; null for an empty object */
    X509* getX509() const noexcept;

private:
    void readCertFromFile(const std::string& path);

    X509* m_certificate = nullptr;
    STACK_OF(DIST_POINT)* m_cdps = nullptr; ///< raw, as who releases it depends on m_owns
    bool m_owns = false;
};

} // namespace CmnCrypto

#endif
