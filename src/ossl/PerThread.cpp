#include "ossl/PerThread.h"

#include <atomic>
#include <new>

namespace CmnCrypto::ossl {

namespace {

std::atomic<std::uint64_t> currentGeneration{1};

// Plain data, so that both may be read when the thread's objects are being destroyed: a host's own may still hash.
thread_local PerThread* mine = nullptr;
thread_local bool threadEnds = false;

/** Releases what a thread keeps at its end. */
struct Owner {
    ~Owner() {
        delete mine;
        mine = nullptr;
        threadEnds = true;
    }
};

} // namespace

PerThread* perThread() noexcept {
    if (mine == nullptr) {
        if (threadEnds) {
            return nullptr;
        }
        mine = new (std::nothrow) PerThread;
        if (mine == nullptr) {
            return nullptr;
        }
        thread_local const Owner owner;
        static_cast<void>(owner);
    }
    const std::uint64_t generation = algorithmGeneration();
    if (mine->generation != generation) {
        mine->digests = {};
        mine->ciphers = {};
        mine->decoders = {};
        mine->generation = generation; // the scratch context may be in use, and takes a new digest at its next start
    }
    return mine;
}

std::uint64_t algorithmGeneration() noexcept {
    return currentGeneration.load(std::memory_order_acquire);
}

void forgetAlgorithms() noexcept {
    currentGeneration.fetch_add(1, std::memory_order_acq_rel);
}

} // namespace CmnCrypto::ossl
