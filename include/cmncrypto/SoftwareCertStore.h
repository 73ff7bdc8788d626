/** @file
 * A certificate store in a folder, for every platform.
 */
#ifndef CMNCRYPTO_SOFTWARECERTSTORE_H
#define CMNCRYPTO_SOFTWARECERTSTORE_H

#include <memory>
#include <string>
#include <vector>

#include "cmncrypto/CertStorePlatform.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/**
 * Each subfolder of the root folder is a store, its name compared without case: of two that differ in nothing else only
 * the first one, by its bytes, is ever opened. In it each "*.pem" is one certificate,
 * with its private key in the same file or in a ".key" file of the same name, and each "*.p12" a bundle with an empty
 * password, in the order of their file names; hidden files are left out. Files are read when a search reaches
 * them, so that a renewed file counts from the next search on. A file that is no
 * certificate is passed over with a warning.
 *
 * Keys stay inside: acquireKey() hands out a number that signs. An encrypted key, one that cannot be read and one of
 * another certificate count as none, with a warning: protect the folder by its permissions. Further certificates in a
 * file serve as issuers of its first one.
 */
class CMNCRYPTO_API SoftwareCertStore : public CertStorePlatform {
public:
    /** @param rootDirectory need not exist yet; empty for a store without any stores @throws std::bad_alloc */
    explicit SoftwareCertStore(const std::string& rootDirectory);
    ~SoftwareCertStore() override;

    /** @return the names of the stores as their folders are spelt, sorted @throws std::bad_alloc */
    std::vector<std::string> storeNames() const;

    /** @return ERROR_FILE_NOT_FOUND (2) when there is no such store, ERROR_ACCESS_DENIED (5) when its folder cannot be
     *          read, or the root folder */
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override;
    void closeStore(CertStoreHandle store) override;
    CertContext findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) override;
    /** Reads each file once for all searches of an open store, unless it changes. @throws std::bad_alloc also, after a
     *  message, when the digest of a certificate cannot be computed */
    CertContext findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) override;
    /**
     * Writes a new file named by the certificate's SHA-1 digest, without a key. It is there whole or not at all; a key
     * that stands alone in the ".key" file of that name is the certificate's then, and stays when removeFromStore()
     * takes the certificate out of the same open store.
     * @param disposition 1, 6 and 7 refuse a certificate that is there already; 2 to 5 leave it as it is, with its key
     * @return also CRYPT_E_EXISTS, ERROR_ACCESS_DENIED for a store that was opened to be read or cannot be written,
     *         ERROR_FILE_EXISTS (80) for a file of that name that holds anything else, ERROR_INVALID_PARAMETER,
     *         NTE_FAIL
     */
    uint32_t addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) override;

    CertContext duplicate(CertContext context) override;
    void release(CertContext context) override;

    uint32_t property(CertContext context, uint32_t id, void* data, uint32_t& length) override;
    uint32_t name(CertContext context, CertName which, std::string& text) override;
    EncodedCertificate encoded(CertContext context) override;
    CertValidity validity(CertContext context) override;
    int verifyTimeValidity(CertContext context, int64_t now) override;
    bool intendedKeyUsage(CertContext context, unsigned char& bits) override;
    uint32_t enhancedKeyUsage(CertContext context, EnhancedKeyUsage& usage) override;
    std::string publicKeyAlgorithm(CertContext context) override;
    uint32_t chain(CertContext context, std::vector<CertContext>& issuers) override;

    /** @return CRYPT_E_NO_KEY_PROPERTY for a certificate without a key, NTE_KEYSET_ENTRY_BAD for a key that cannot be
     *          read, NTE_BAD_PUBLIC_KEY for the key of another certificate */
    uint32_t acquireKey(CertContext context, StoreKey& key) override;
    SigningBackEnd& signing() override;

    uint32_t computerName(HostnameType type, char* buffer, uint32_t size) override;
    uint32_t hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) override;
    std::string errorText(uint32_t error) override;

    /** @return CRYPT_E_ASN1_ERROR for what is no certificate, or more than one */
    uint32_t createContext(const unsigned char* der, size_t length, CertContext& context) override;
    /**
     * Removes the ".key" file of a certificate and then its own file, with what else is in it.
     * @return ERROR_ACCESS_DENIED for a store that was opened to be read or cannot be written, CRYPT_E_NOT_FOUND when
     *         the certificate is not there any more, ERROR_INVALID_PARAMETER for one that is in no store
     */
    uint32_t removeFromStore(CertContext context) override;
    /**
     * Writes two new files named by the certificate's SHA-1 digest: the key, unencrypted and readable by its owner
     * only, and then the certificate with the bundle's other ones behind it, where they serve as its issuers. A
     * certificate that is there without a key gets the key, and in its file the issuers that it lacks, unless that is a
     * link; one with its key stays as it is. A ".key" file of that name with the same key, as an interrupted import
     * leaves it, is taken as it is. Of several that import one bundle at once all succeed.
     * @param exportable no matter: keys do not leave this store
     * @return also ERROR_INVALID_PASSWORD, CRYPT_E_ASN1_ERROR for what is no bundle or has something behind it,
     *         ERROR_INVALID_DATA for one that cannot be opened, CRYPT_E_NO_KEY_PROPERTY, CRYPT_E_EXISTS for a
     * certificate that is there with a key that does not serve, ERROR_FILE_EXISTS (80) for a file in the way, which is
     *         logged, ERROR_ACCESS_DENIED
     */
    uint32_t importBundle(CertStoreHandle store, const unsigned char* der, size_t length, const std::string& password,
                          bool exportable, CertContext& context) override;
    /** @return NTE_NOT_SUPPORTED, as keys do not leave this store; acquireKey()'s for a certificate without one */
    uint32_t exportBundle(CertContext context, const std::string& password, std::vector<unsigned char>& der) override;
    /**
     * Trusts the certificates of the store "Root" that have signed themselves, and finds issuers in every store and in
     * the certificate's own file. MD5, SHA-1 and RSA keys far below 1024 bits do not count. A root in the
     * form TRUSTED CERTIFICATE counts for the purposes that it is trusted for. Where revocation is asked
     * for, there must be a list in a "*.crl" file (several lists in PEM, or one in DER) of the stores "Root" and "CA"
     * from each issuer of the chain; a certificate that has signed itself needs none. Delta lists are left out, with a
     * warning. A "*.crl" that cannot be read or is malformed could revoke: then no certificate passes. A host name may
     * end in a dot but not begin with one.
     * @return CERT_E_EXPIRED, CERT_E_UNTRUSTEDROOT, CERT_E_CHAINING, TRUST_E_CERT_SIGNATURE, CERT_E_CN_NO_MATCH,
     *         CERT_E_WRONG_USAGE, TRUST_E_BASIC_CONSTRAINTS, CERT_E_INVALID_NAME, CERT_E_CRITICAL, CRYPT_E_REVOKED,
     *         CRYPT_E_REVOCATION_OFFLINE without a list that can be relied on or with a file that is none, TRUST_E_FAIL
     *         for anything else; OpenSSL's own reason is logged
     */
    uint32_t verifyChain(CertContext context, const CertChainPolicy& policy) override;

private:
    class SoftwareSigning;

    std::string m_root;
    std::unique_ptr<SoftwareSigning> m_signing;
};

} // namespace CmnCrypto::WinCertStore

#endif
