/** @file
 * What there is to know about a certificate of a certificate store.
 */
#ifndef CMNCRYPTO_WINCERTSTOREDETAILS_H
#define CMNCRYPTO_WINCERTSTOREDETAILS_H

#include <cstdint>
#include <string>
#include <vector>

namespace CmnCrypto::WinCertStore {

/** Of which kind the private key of a store certificate is. */
enum StoreKeyKind : int32_t {
    STORE_KEY_NONE = 0,  ///< the store has no key for it
    STORE_KEY_CNG = 1,   ///< a CNG key
    STORE_KEY_LEGACY = 2 ///< a key of a CryptoAPI provider
};

/** A certificate's details. All texts are in UTF-8; what a certificate does not have is empty. */
struct WinCertStoreDetails {
    std::string subject;                ///< as WinCertStoreCertificate::GetSubjectName()
    std::string issuer;                 ///< as WinCertStoreCertificate::GetIssuerName()
    std::string serialNumber;           ///< upper-case hexadecimal without separators, "-" before a negative one
    std::string sha1;                   ///< fingerprint, 40 lower-case hexadecimal digits
    std::string sha256;                 ///< fingerprint, 64 lower-case hexadecimal digits
    int64_t notBefore = 0;              ///< seconds since 1970 UTC
    int64_t notAfter = 0;               ///< seconds since 1970 UTC
    std::string keyAlgorithm;           ///< "RSA", "EC"; in dotted form where OpenSSL does not know it
    int keyBits = 0;                    ///< size of the public key, 0 when unknown
    std::vector<std::string> keyUsages; ///< names of RFC 5280: "digitalSignature", "keyCertSign"
    std::vector<std::string> extendedKeyUsages; ///< "serverAuth"; in dotted form where there is no short name
    std::vector<std::string> subjectAltNames;   ///< "DNS:host.example.org", "IP Address:10.0.0.1"
    StoreKeyKind privateKey = STORE_KEY_NONE;   ///< of the private key that the store has
    std::string text; ///< all of it for people, a line each, ended by line feeds; controls, also those that turn the
                      ///< direction of writing, stand as "."
};

} // namespace CmnCrypto::WinCertStore

#endif
