#ifndef CMNCRYPTO_OSSL_THREADSLOT_H
#define CMNCRYPTO_OSSL_THREADSLOT_H

#include "ossl/PerThread.h"

namespace CmnCrypto::ossl {

/** @return what is kept for the calling thread, null for nothing */
PerThread* keptForThread() noexcept;

/**
 * Keeps an object for the calling thread, whose end deletes it.
 * @return false when memory is short or the thread is ending: the object stays the caller's
 */
bool keepForThread(PerThread* object) noexcept;

} // namespace CmnCrypto::ossl

#endif
