/** @file
 * A certificate of a certificate store.
 */
#ifndef CMNCRYPTO_WINCERTSTORECERTIFICATE_H
#define CMNCRYPTO_WINCERTSTORECERTIFICATE_H

#include <cstdint>
#include <memory>
#include <string>

#include <openssl/types.h>

#include "cmncrypto/CertStorePlatform.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** Who releases the context of a wrapper. */
enum CertMemoryMgmtType : int32_t {
    CERT_MEMORY_OWNED = 0,   ///< the wrapper, which adopts it; copies count it once more
    CERT_MEMORY_BORROWED = 1 ///< somebody else, who keeps it as long as the wrapper and its copies
};

/**
 * Wraps one certificate context of the process's store platform, or none. It keeps the platform that it was made
 * under. Copies share the context and compare equal. Nothing throws; an empty wrapper answers every question with its
 * failure. One thread at a time per object.
 *
 * Two conventions stand side by side: DoesPrivateKeyExist() and IsKeyRSA() answer non-zero for yes, the other checks 0
 * for success.
 */
class CMNCRYPTO_API WinCertStoreCertificate {
public:
    WinCertStoreCertificate() noexcept;
    /** @param platform to which @p context belongs; null for the process's */
    explicit WinCertStoreCertificate(CertContext context, CertMemoryMgmtType type = CERT_MEMORY_OWNED,
                                     std::shared_ptr<CertStorePlatform> platform = nullptr) noexcept;
    WinCertStoreCertificate(const WinCertStoreCertificate& other) noexcept;            ///< shares the context
    WinCertStoreCertificate& operator=(const WinCertStoreCertificate& other) noexcept; ///< shares the context
    /** Wraps @p context, counted once more: the caller's own count stays with the caller. */
    WinCertStoreCertificate& operator=(CertContext context) noexcept;
    ~WinCertStoreCertificate();

    /** @return the context, borrowed; null for an empty wrapper */
    CertContext GetContext() const noexcept;
    /** @return the platform that the context belongs to; null for an empty wrapper */
    std::shared_ptr<CertStorePlatform> GetPlatform() const noexcept;

    /** @return whether both wrap the same context, not merely the same certificate */
    bool operator==(const WinCertStoreCertificate& other) const noexcept;
    /** Orders by the contexts' addresses: an order for maps, not one of names or dates. */
    bool operator<(const WinCertStoreCertificate& other) const noexcept;

    int64_t GetStartDate() const noexcept; ///< @return notBefore in seconds since 1970 UTC; 0 for an empty wrapper
    int64_t GetEndDate() const noexcept;   ///< @return notAfter in seconds since 1970 UTC; 0 for an empty wrapper

    /** @param name receives the attribute values of the subject in their order, joined by ", " @return 0; 13 */
    int GetSubjectName(std::string& name) const noexcept;
    int GetIssuerName(std::string& name) const noexcept; ///< as GetSubjectName()
    /** @param fingerprint receives the SHA-1 digest in 40 lower-case hexadecimal digits @return 0; 160 */
    int GetFingerprint(std::string& fingerprint) const noexcept;

    /** @return a new certificate, to be released with X509_free(); null when it cannot be decoded: OpenSSL's error
     *          queue then ends with an error of the TLS library, reason 13 */
    X509* GetX509() const noexcept;
    int IsKeyRSA() const noexcept;           ///< @return non-zero when the public key is an RSA key
    std::string GetKeyAlgo() const noexcept; ///< @return the public key's algorithm in dotted form; empty when unknown

    /** @return 0; 8799 when the signature algorithm is refused, as by X509Certificate::validateAlgorithm() */
    int ValidateAlgo() const noexcept;
    int IsValid() const noexcept;             ///< @return 0; 8760 expired, 8773 not yet valid, 20 for an empty wrapper
    int DoesPrivateKeyExist() const noexcept; ///< @return non-zero when the store holds its private key
    int IsIntendedForServerPurpose() const noexcept; ///< @return 0; 8786 when its usages exclude TLS servers
    int IsIntendedForClientPurpose() const noexcept; ///< @return 0; 8785 when its usages exclude TLS clients

    /** Adds a copy to an open store. @param disposition a CERT_STORE_ADD_ value @return non-zero for success */
    int AddToStore(CertStoreHandle store, uint32_t disposition) const noexcept;

private:
    std::shared_ptr<CertStorePlatform> m_platform;
    CertContext m_context = nullptr; ///< raw, as who releases it depends on m_type
    CertMemoryMgmtType m_type = CERT_MEMORY_OWNED;
};

} // namespace CmnCrypto::WinCertStore

#endif
