#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSCERTSTORE_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSCERTSTORE_H

#include "cmncrypto/CertStorePlatform.h"
#include "libwincertstore/windows/WindowsSigning.h"

namespace CmnCrypto::WinCertStore {

/**
 * The certificate stores of the local machine. Contexts are PCCERT_CONTEXT and store handles HCERTSTORE: what a host
 * has got from the system itself can be handed in. Texts are in UTF-8, see wide(), but reach the system and come from
 * it by way of the ANSI code page: a name with other characters opens no store and finds nothing, and in a rendered
 * name
 * "?" stands for them.
 */
class WindowsCertStore : public CertStorePlatform {
public:
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override;
    void closeStore(CertStoreHandle store) override;
    CertContext findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) override;
    CertContext findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) override;
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

    uint32_t acquireKey(CertContext context, StoreKey& key) override;
    SigningBackEnd& signing() override;

    uint32_t computerName(HostnameType type, char* buffer, uint32_t size) override;
    uint32_t hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) override;
    std::string errorText(uint32_t error) override;

    uint32_t createContext(const unsigned char* der, size_t length, CertContext& context) override;
    uint32_t removeFromStore(CertContext context) override;
    uint32_t importBundle(CertStoreHandle store, const unsigned char* der, size_t length, const std::string& password,
                          bool exportable, CertContext& context) override;
    uint32_t exportBundle(CertContext context, const std::string& password, std::vector<unsigned char>& der) override;
    uint32_t verifyChain(CertContext context, const CertChainPolicy& policy) override;
    KeySecurity* keySecurity() override;

private:
    WindowsSigning m_signing;
};

} // namespace CmnCrypto::WinCertStore

#endif
