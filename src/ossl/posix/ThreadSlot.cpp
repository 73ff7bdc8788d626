#include "ossl/ThreadSlot.h"

namespace CmnCrypto::ossl {

namespace {

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

PerThread* keptForThread() noexcept {
    return mine;
}

bool keepForThread(PerThread* object) noexcept {
    if (threadEnds) {
        return false;
    }
    thread_local const Owner owner;
    static_cast<void>(owner);
    mine = object;
    return true;
}

} // namespace CmnCrypto::ossl
