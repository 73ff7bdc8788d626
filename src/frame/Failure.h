#ifndef CMNCRYPTO_FRAME_FAILURE_H
#define CMNCRYPTO_FRAME_FAILURE_H

#include <cstdint>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CmnException.h"
#include "frame/Logging.h"

namespace CmnCrypto {

/** Product status codes. */
constexpr int32_t codeRevocationData = 1; ///< data of a revocation check are bad or unusable
constexpr int32_t codeRevocationMemory = 2;
constexpr int32_t codeRevocationArgument = 5;
constexpr int32_t codeAllocationFailed = 10; ///< of an OpenSSL object
constexpr int32_t codeOpenFailed = 12;
constexpr int32_t codeReadFailed = 13;
constexpr int32_t codeWriteFailed = 14; ///< or a step of OpenSSL failed
constexpr int32_t codeCloseFailed = 15;
constexpr int32_t codeInvalidArgument = 20;
constexpr int32_t codeNoMemory = 36;
constexpr int32_t codeCryptoFailed = 114;
constexpr int32_t codeNoSuchFingerprint = 158;
constexpr int32_t codeNoFingerprint = 160;
constexpr int32_t codeNotX509 = 5900;
constexpr int32_t codeNoDigest = 5902;
constexpr int32_t codeDateUnreadable = 5904;
constexpr int32_t codeNoSuchCertificate = 5949;
constexpr int32_t codeChainFileExists = 5967;
constexpr int32_t codeChainUnusable = 5942;
constexpr int32_t codeKeyEncrypted = 5999;
constexpr int32_t codeVerificationFailed = 7627; ///< it could not begin
constexpr int32_t codeNotCrl = 7654;
constexpr int32_t codeCertificateExpired = 8760;
constexpr int32_t codeStorePathMalformed = 8764;
constexpr int32_t codeIssuerMismatch = 8767;
constexpr int32_t codeNoneChosen = 8770;      ///< by the time-lag filter
constexpr int32_t codeSubjectMismatch = 8771; ///< or nothing was selected
constexpr int32_t codeStoreNotOpened = 8772;
constexpr int32_t codeNotYetValid = 8773;
constexpr int32_t codeNoHostName = 8775;
constexpr int32_t codeKeyTypeRefused = 8776;
constexpr int32_t codeNotForClients = 8785;
constexpr int32_t codeNotForServers = 8786;
constexpr int32_t codeFipsRefused = 8787;
constexpr int32_t codeSignatureRefused = 8799;
constexpr int32_t codeVerifyParameters = 9105;
constexpr int32_t codeTlsRefused = 9110; ///< a cipher list or certificate, by OpenSSL
constexpr int32_t codeShutdownFailed = 9118;
constexpr int32_t codeHandshakeFailed = 9120;
constexpr int32_t codeKeyRefused = 9129;
constexpr int32_t codeKeyMismatch = 9130; ///< not the certificate's key
constexpr int32_t codeTlsTimedOut = 9131;
constexpr int32_t codeCrlNotWritten = 9300;
constexpr int32_t codeCrlNotRead = 9301;
constexpr int32_t codeStackRefused = 9307;
constexpr int32_t codeCrlFileNotRead = 9308;
constexpr int32_t codeCrlFlags = 9320;
constexpr int32_t codeNoUrls = 9323;

/** Logs one text and throws a CmnException with another: callers rely on both, and they often differ. */
[[noreturn]] inline void fail(const char* function, const char* logText, const char* exceptionText, int32_t code) {
    clogmsg(logFailure, function, "%s", logText);
    throw CmnException(exceptionText, code);
}

/** As fail(), for a log and an exception with the same text. */
[[noreturn]] inline void fail(const char* function, const char* text, int32_t code) {
    fail(function, text, text, code);
}

/** As fail(), through clogmsgv() with detail 0. */
[[noreturn]] inline void failDetailed(const char* function, const char* logText, const char* exceptionText,
                                      int32_t code) {
    clogmsgv(logFailure, 0, function, "%s", logText);
    throw CmnException(exceptionText, code);
}

/** As fail(); the one "%s" of @p logFormat stands for the drained OpenSSL error queue. */
[[noreturn]] void failWithSslErrors(const char* function, const char* logFormat, const char* exceptionText,
                                    int32_t code);

/** As failWithSslErrors(), through clogmsgv() with detail 0. */
[[noreturn]] void failDetailedWithSslErrors(const char* function, const char* logFormat, const char* exceptionText,
                                            int32_t code);

} // namespace CmnCrypto

#endif
