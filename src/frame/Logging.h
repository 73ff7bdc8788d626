#ifndef CMNCRYPTO_FRAME_LOGGING_H
#define CMNCRYPTO_FRAME_LOGGING_H

#include <string>

#include "cmncrypto/cmncrypto.h"

namespace CmnCrypto {

/** Levels of clogmsg(). */
constexpr int logFailure = 16;
constexpr int logWarning = 8;
constexpr int logTrace = 4;
constexpr int logInfo = 2;

/** @return whether a callback would receive a message; asked where the arguments alone cost something */
bool isLogged() noexcept;

/** Logs @p text, followed by the source line in parentheses, as a failure. */
void logWithLine(const char* function, const char* text, int line);

/** Empties the OpenSSL error queue. @return its text for a message, empty where nobody listens or memory is short */
std::string drainSslErrors() noexcept;

/** Logs the drained OpenSSL error queue as "SSL Error : ...", as a failure. */
void logSslError(const char* function) noexcept;

} // namespace CmnCrypto

#endif
