#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSSIGNING_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSSIGNING_H

#include "cmncrypto/SigningBackEnd.h"

namespace CmnCrypto::WinCertStore {

/** Signs by CNG with an NCRYPT_KEY_HANDLE and by CryptoAPI with an HCRYPTPROV. There is no state. */
class WindowsSigning : public SigningBackEnd {
public:
    /** With padding a DigestInfo is taken apart: the same signature, from providers that want the digest alone too. */
    uint32_t signCng(uintptr_t key, bool pkcs1, const unsigned char* data, uint32_t length, unsigned char* signature,
                     uint32_t size, uint32_t& produced) override;
    void freeCngKey(uintptr_t key) override;

    uint32_t createHash(uintptr_t provider, uintptr_t& hash) override;
    uint32_t hashSize(uintptr_t hash, uint32_t& size) override;
    uint32_t setHashValue(uintptr_t hash, const unsigned char* value) override;
    uint32_t signHash(uintptr_t hash, uint32_t keySpec, unsigned char* signature, uint32_t& length) override;
    void destroyHash(uintptr_t hash) override;
    void releaseProvider(uintptr_t provider) override;
};

} // namespace CmnCrypto::WinCertStore

#endif
