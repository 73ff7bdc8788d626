#include "ossl/Algorithms.h"

#include <array>
#include <atomic>
#include <cstdint>

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

thread_local Kept* mine = nullptr;

/** Releases what a thread keeps at its end. */
struct Owner {
    ~Owner() {
        delete mine;
        mine = nullptr; // a host's own later destructors may still hash
    }
};

Kept& kept() {
    if (mine == nullptr) {
        mine = new Kept;
        thread_local const Owner owner;
        static_cast<void>(owner);
    }
    const std::uint64_t generation = currentGeneration.load(std::memory_order_acquire);
    if (mine->generation != generation) {
        mine->digests = {};
        mine->ciphers = {};
        mine->scratch.reset();
        mine->generation = generation;
    }
    return *mine;
}

constexpr const char* digestNames[] = {"SHA256", "SHA512", "SHA1", "MD5"};
constexpr const char* cipherNames[] = {"AES-128-CBC", "AES-192-CBC", "AES-256-CBC", "AES-256-GCM"};

} // namespace

const EVP_MD* digest(Digest which) {
    const auto index = static_cast<size_t>(which);
    auto& entry = kept().digests[index];
    if (!entry) {
        entry.reset(EVP_MD_fetch(nullptr, digestNames[index], nullptr));
    }
    return entry.get();
}

const EVP_CIPHER* cipher(Cipher which) {
    const auto index = static_cast<size_t>(which);
    auto& entry = kept().ciphers[index];
    if (!entry) {
        entry.reset(EVP_CIPHER_fetch(nullptr, cipherNames[index], nullptr));
    }
    return entry.get();
}

void forgetAlgorithms() noexcept {
    currentGeneration.fetch_add(1, std::memory_order_acq_rel);
}

EVP_MD_CTX* scratchDigestContext() {
    auto& scratch = kept().scratch;
    if (!scratch) {
        scratch.reset(EVP_MD_CTX_new());
    }
    return scratch.get();
}

} // namespace CmnCrypto::ossl
