#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_SOFTWARESIGNING_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_SOFTWARESIGNING_H

#include <array>
#include <map>
#include <mutex>

#include "cmncrypto/SoftwareCertStore.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/**
 * Signs with the keys of a software store. Handles are numbers that mean nothing outside; a wrong one is refused. A
 * handle serves both as a CNG key and as a CryptoAPI provider.
 */
class SoftwareCertStore::SoftwareSigning : public SigningBackEnd {
public:
    /** @return the handle of a key that is kept now @throws std::bad_alloc */
    uintptr_t keep(OpenSslPtr<EVP_PKEY> key);

    uint32_t signCng(uintptr_t key, bool pkcs1, const unsigned char* data, uint32_t length, unsigned char* signature,
                     uint32_t size, uint32_t& produced) override;
    void freeCngKey(uintptr_t key) override;

    uint32_t createHash(uintptr_t provider, uintptr_t& hash) override;
    uint32_t hashSize(uintptr_t hash, uint32_t& size) override;
    uint32_t setHashValue(uintptr_t hash, const unsigned char* value) override;
    uint32_t signHash(uintptr_t hash, uint32_t keySpec, unsigned char* signature, uint32_t& length) override;
    void destroyHash(uintptr_t hash) override;
    void releaseProvider(uintptr_t provider) override;

private:
    static constexpr uint32_t hashLength = 36; ///< MD5 and SHA-1, one behind the other

    struct Hash {
        uintptr_t provider = 0;
        std::array<unsigned char, hashLength> value{};
    };

    OpenSslPtr<EVP_PKEY> find(uintptr_t key);

    std::mutex m_mutex; // handles come and go while connections on other threads sign
    uintptr_t m_last = 0;
    std::map<uintptr_t, OpenSslPtr<EVP_PKEY>> m_keys;
    std::map<uintptr_t, Hash> m_hashes;
};

} // namespace CmnCrypto::WinCertStore

#endif
