#include "ossl/PerThread.h"

#include <atomic>
#include <memory>
#include <new>

#include "ossl/ThreadSlot.h"

namespace CmnCrypto::ossl {

namespace {

std::atomic<std::uint64_t> currentGeneration{1};

} // namespace

PerThread* perThread() noexcept {
    PerThread* mine = keptForThread();
    if (mine == nullptr) {
        std::unique_ptr<PerThread> made(new (std::nothrow) PerThread);
        if (!made || !keepForThread(made.get())) {
            return nullptr;
        }
        mine = made.release();
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
