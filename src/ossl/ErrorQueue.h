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

} // namespace CmnCrypto::ossl

#endif
