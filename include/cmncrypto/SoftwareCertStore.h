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
 * Each subfolder of the root folder is a store, its name compared without case. In it each "*.pem" is one certificate,
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

    /** @return ERROR_FILE_NOT_FOUND (2) when there is no such store */
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override;
    void closeStore(CertStoreHandle store) override;
    CertContext findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) override;
    CertContext findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) override;
    /**
     * Writes a new file named by the certificate's SHA-1 digest, without a key.
     * @param disposition 1, 6 and 7 refuse a certificate that is there already; 2 to 5 leave it as it is, with its key
     * @return also CRYPT_E_EXISTS, ERROR_ACCESS_DENIED for a store that was opened to be read or cannot be written,
     *         ERROR_INVALID_PARAMETER
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

private:
    class SoftwareSigning;

    std::string m_root;
    std::unique_ptr<SoftwareSigning> m_signing;
};

} // namespace CmnCrypto::WinCertStore

#endif
