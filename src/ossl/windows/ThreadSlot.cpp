#include "ossl/ThreadSlot.h"

#include <windows.h>

namespace CmnCrypto::ossl {

namespace {

void WINAPI release(void* object) {
    delete static_cast<PerThread*>(object);
}

/**
 * Not an object of the thread: MinGW's runtime asks for the loader's lock to destroy one, and for locks of its own
 * under the loader's; threads that end side by side could wait for each other for good.
 */
struct Slot {
    Slot() noexcept : number(::FlsAlloc(release)) {}
    ~Slot() { ::FlsFree(number); } // releases what all threads keep, before this code is unloaded
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    DWORD number;
};

DWORD slot() noexcept {
    static const Slot kept;
    return kept.number;
}

} // namespace

PerThread* keptForThread() noexcept {
    return static_cast<PerThread*>(::FlsGetValue(slot()));
}

bool keepForThread(PerThread* object) noexcept {
    return ::FlsSetValue(slot(), object) != FALSE;
}

} // namespace CmnCrypto::ossl
