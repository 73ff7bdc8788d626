#include "encryption/CrypterStatus.h"

#include "cmncrypto/CmnException.h"
#include "frame/Logging.h"

namespace CmnCrypto::Encryption {

void throwStatus(const char* function, int status) {
    clogmsg(logFailure, function, "Throwing exception %d", status);
    throw CmnException("Throwing exception", status);
}

} // namespace CmnCrypto::Encryption
