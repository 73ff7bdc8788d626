#include "libwincertstore/software/SoftwareSigning.h"

#include <algorithm>
#include <utility>

#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** Signs bytes as they are, padded or not. @return whether it worked */
bool sign(EVP_PKEY* key, bool pkcs1, const unsigned char* data, uint32_t length, unsigned char* signature,
          size_t& produced) {
    const OpenSslPtr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(key, nullptr));
    return context && EVP_PKEY_sign_init(context.get()) == 1 &&
           EVP_PKEY_CTX_set_rsa_padding(context.get(), pkcs1 ? RSA_PKCS1_PADDING : RSA_NO_PADDING) == 1 &&
           EVP_PKEY_sign(context.get(), signature, &produced, data, length) == 1;
}

} // namespace

uintptr_t SoftwareCertStore::SoftwareSigning::keep(OpenSslPtr<EVP_PKEY> key) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_keys[++m_last] = std::move(key);
    return m_last;
}

OpenSslPtr<EVP_PKEY> SoftwareCertStore::SoftwareSigning::find(uintptr_t key) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto at = m_keys.find(key);
    if (at == m_keys.end() || EVP_PKEY_up_ref(at->second.get()) != 1) {
        return nullptr;
    }
    return OpenSslPtr<EVP_PKEY>(at->second.get());
}

uint32_t SoftwareCertStore::SoftwareSigning::signCng(uintptr_t key, bool pkcs1, const unsigned char* data,
                                                     uint32_t length, unsigned char* signature, uint32_t size,
                                                     uint32_t& produced) {
    const OpenSslPtr<EVP_PKEY> held = find(key);
    if (!held) {
        return windowsInvalidHandle;
    }
    if (EVP_PKEY_get_base_id(held.get()) != EVP_PKEY_RSA) {
        return windowsBadKeyType;
    }
    if (size < static_cast<uint32_t>(EVP_PKEY_get_size(held.get()))) {
        return windowsBadLength;
    }
    ERR_set_mark();
    size_t count = size;
    const bool signedIt = sign(held.get(), pkcs1, data, length, signature, count);
    ERR_pop_to_mark(); // the number returned is what tells about it
    produced = signedIt ? static_cast<uint32_t>(count) : 0;
    return signedIt ? 0 : windowsProviderFailed;
}

void SoftwareCertStore::SoftwareSigning::freeCngKey(uintptr_t key) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_keys.erase(key);
}

uint32_t SoftwareCertStore::SoftwareSigning::createHash(uintptr_t provider, uintptr_t& hash) {
    return withoutThrowing("SoftwareCertStore::createHash", windowsNotEnoughMemory, [&] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_keys.count(provider) == 0) {
            return windowsInvalidHandle;
        }
        hash = ++m_last;
        m_hashes[hash].provider = provider;
        return uint32_t{0};
    });
}

uint32_t SoftwareCertStore::SoftwareSigning::hashSize(uintptr_t hash, uint32_t& size) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    size = hashLength;
    return m_hashes.count(hash) != 0 ? 0 : windowsInvalidHandle;
}

uint32_t SoftwareCertStore::SoftwareSigning::setHashValue(uintptr_t hash, const unsigned char* value) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto at = m_hashes.find(hash);
    if (at == m_hashes.end()) {
        return windowsInvalidHandle;
    }
    std::copy_n(value, hashLength, at->second.value.begin());
    return 0;
}

uint32_t SoftwareCertStore::SoftwareSigning::signHash(uintptr_t hash, uint32_t /*keySpec*/, unsigned char* signature,
                                                      uint32_t& length) {
    Hash held;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto at = m_hashes.find(hash);
        if (at == m_hashes.end()) {
            return windowsInvalidHandle;
        }
        held = at->second;
    }
    const uint32_t capacity = length;
    const uint32_t result = signCng(held.provider, true, held.value.data(), hashLength, signature, capacity, length);
    if (result == 0) {
        std::reverse(signature, signature + length); // CryptoAPI's order
    }
    return result;
}

void SoftwareCertStore::SoftwareSigning::destroyHash(uintptr_t hash) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hashes.erase(hash);
}

void SoftwareCertStore::SoftwareSigning::releaseProvider(uintptr_t provider) {
    freeCngKey(provider);
}

} // namespace CmnCrypto::WinCertStore
