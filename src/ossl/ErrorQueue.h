#ifndef CMNCRYPTO_OSSL_ERRORQUEUE_H
#define CMNCRYPTO_OSSL_ERRORQUEUE_H

#include "ossl/OpenSsl.h"

namespace CmnCrypto::ossl {

/**
 * Empties the thread's error queue where an operation begins that may report from it, so that an old error of
 * the host is never shown as ours. The test first: clearing costs more than a short digest has to spend.
 */
inline void clearErrors() {
    if (ERR_peek_error() != 0) {
        ERR_clear_error();
    }
}

/** Empties the error queue at the begin and at the end of an operation, however it ends. */
class ErrorScope {
public:
    ErrorScope() { clearErrors(); }
    ~ErrorScope() { clearErrors(); }
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;
};

} // namespace CmnCrypto::ossl

#endif
