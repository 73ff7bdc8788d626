#include "ossl/Algorithms.h"

#include "ossl/PerThread.h"

namespace CmnCrypto::ossl {

namespace {

// Names to fetch by, and OpenSSL's own objects, looked up at each use, for a thread that cannot keep any.
struct DigestRow {
    const char* name;
    const EVP_MD* (*unkept)();
};
struct CipherRow {
    const char* name;
    const EVP_CIPHER* (*unkept)();
};
constexpr DigestRow digestRows[] = {
    {"SHA256", EVP_sha256}, {"SHA512", EVP_sha512}, {"SHA1", EVP_sha1}, {"MD5", EVP_md5}};
constexpr CipherRow cipherRows[] = {{"AES-128-CBC", EVP_aes_128_cbc},
                                    {"AES-192-CBC", EVP_aes_192_cbc},
                                    {"AES-256-CBC", EVP_aes_256_cbc},
                                    {"AES-256-GCM", EVP_aes_256_gcm}};

} // namespace

const EVP_MD* digest(Digest which) noexcept {
    const auto index = static_cast<size_t>(which);
    PerThread* const own = perThread();
    if (own == nullptr) {
        return digestRows[index].unkept();
    }
    auto& entry = own->digests[index];
    if (!entry) {
        entry.reset(EVP_MD_fetch(nullptr, digestRows[index].name, nullptr));
    }
    return entry.get();
}

const EVP_CIPHER* cipher(Cipher which) noexcept {
    const auto index = static_cast<size_t>(which);
    PerThread* const own = perThread();
    if (own == nullptr) {
        return cipherRows[index].unkept();
    }
    auto& entry = own->ciphers[index];
    if (!entry) {
        entry.reset(EVP_CIPHER_fetch(nullptr, cipherRows[index].name, nullptr));
    }
    return entry.get();
}

EVP_MD_CTX* scratchDigestContext(OpenSslPtr<EVP_MD_CTX>& unkept) noexcept {
    PerThread* const own = perThread();
    auto& scratch = own != nullptr ? own->scratch : unkept;
    if (!scratch) {
        scratch.reset(EVP_MD_CTX_new());
    }
    return scratch.get();
}

} // namespace CmnCrypto::ossl
