#ifndef CMNCRYPTO_REVOCATION_OPENSSLERRORLOG_H
#define CMNCRYPTO_REVOCATION_OPENSSLERRORLOG_H

#include "frame/Logging.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/** Logs an entry of the error queue as a failure; nothing for 0. */
inline void logOpenSslError(const char* function, unsigned long error) {
    if (error != 0 && isLogged()) {
        char text[1024];
        ERR_error_string_n(error, text, sizeof text);
        clogmsg(logFailure, function, "OpenSSL error %lu :  %s", error, text);
    }
}

} // namespace CmnCrypto

#endif
