#include "frame/Failure.h"

// The formats are literals of the callers, each with its one "%s".
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace CmnCrypto {

void failWithSslErrors(const char* function, const char* logFormat, const char* exceptionText, int32_t code) {
    clogmsg(logFailure, function, logFormat, drainSslErrors().c_str());
    throw CmnException(exceptionText, code);
}

void failDetailedWithSslErrors(const char* function, const char* logFormat, const char* exceptionText, int32_t code) {
    clogmsgv(logFailure, 0, function, logFormat, drainSslErrors().c_str());
    throw CmnException(exceptionText, code);
}

} // namespace CmnCrypto
