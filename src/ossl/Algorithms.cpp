#include "ossl/Algorithms.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <new>

namespace CmnCrypto::ossl {

namespace {

std::atomic<std::uint64_t> currentGeneration{1};

/** What one thread keeps; per thread, so that nothing here needs a lock. */
struct Kept {
    std::uint64_t generation = 0;
    std::array<OpenSslPtr<EVP_MD>, static_cast<size_t>(Digest::count)> digests;
    std::array<OpenSslPtr<EVP_CIPHER>, static_cast<size_t>(Cipher::count)> ciphers;
    OpenSslPtr<EVP_MD_CTX> scratch;
};

// Plain data, so that both may be read when the thread's objects are being destroyed: a host's own may still hash.
thread_local Kept* mine = nullptr;
thread_local bool threadEnds = false;

/** Releases what a thread keeps at its end. */
struct Owner {
    ~Owner() {
        delete mine;
        mine = nullptr;
        threadEnds = true;
    }
};

/** @return what the calling thread keeps, up to date; null when memory is short or the thread is ending */
Kept* kept() noexcept {
    if (mine == nullptr) {
        if (threadEnds) {
            return nullptr;
        }
        mine = new (std::nothrow) Kept;
        if (mine == nullptr) {
            return nullptr;
        }
        thread_local const Owner owner;
        static_cast<void>(owner);
    }
    const std::uint64_t generation = currentGeneration.load(std::memory_order_acquire);
    if (mine->generation != generation) {
        mine->digests = {};
        mine->ciphers = {};
        mine->generation = generation; // the scratch context may be in use, and takes a new digest at its next start
    }
    return mine;
}

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
    Kept* const own = kept();
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
    Kept* const own = kept();
    if (own == nullptr) {
        return cipherRows[index].unkept();
    }
    auto& entry = own->ciphers[index];
    if (!entry) {
        entry.reset(EVP_CIPHER_fetch(nullptr, cipherRows[index].name, nullptr));
    }
    return entry.get();
}

void forgetAlgorithms() noexcept {
    currentGeneration.fetch_add(1, std::memory_order_acq_rel);
}

EVP_MD_CTX* scratchDigestContext(OpenSslPtr<EVP_MD_CTX>& unkept) noexcept {
    Kept* const own = kept();
    auto& scratch = own != nullptr ? own->scratch : unkept;
    if (!scratch) {
        scratch.reset(EVP_MD_CTX_new());
    }
    return scratch.get();
}

} // namespace CmnCrypto::ossl
