#include "frame/Logging.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "cmncrypto/CmnApi.h"
#include "ossl/ErrorQueue.h"

namespace {

// Plain pointers: the host installs its callbacks before it starts threads.
cmncrypto_log_cb simpleCallback = nullptr;
cmncrypto_log_detail_cb extendedCallback = nullptr;

constexpr size_t messageSize = 8192;

} // namespace

int set_log_callback(cmncrypto_log_cb simple, cmncrypto_log_detail_cb extended) {
    if (simple != nullptr) {
        simpleCallback = simple;
    }
    if (extended != nullptr) {
        extendedCallback = extended;
    }
    return simple != nullptr || extended != nullptr ? 1 : 0;
}

int cmncrypto_set_log_callback(cmncrypto_log_cb simple, cmncrypto_log_detail_cb extended) {
    const int result = set_log_callback(simple, extended);
    if (result != 0) {
        clogmsg(CmnCrypto::logInfo, "cmncrypto_set_log_callback", "Logger callback for CmnCrypto is successfully set.");
    }
    return result;
}

// clogmsg() prefers the simple callback and clogmsgv() the extended one: hosts that install both tell the two
// streams apart by it.
int clogmsg(int level, const char* function, const char* format, ...) {
    if (!CmnCrypto::isLogged() || format == nullptr) {
        return 0;
    }
    char message[messageSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    return simpleCallback != nullptr ? simpleCallback(level, message, function)
                                     : extendedCallback(level, 0, message, function);
}

int clogmsgv(int level, int detail, const char* function, const char* format, ...) {
    if (!CmnCrypto::isLogged() || format == nullptr) {
        return 0;
    }
    char message[messageSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    return extendedCallback != nullptr ? extendedCallback(level, detail, message, function)
                                       : simpleCallback(level, message, function);
}

namespace CmnCrypto {

bool isLogged() noexcept {
    return simpleCallback != nullptr || extendedCallback != nullptr;
}

void logWithLine(const char* function, const char* text, int line) {
    clogmsg(logFailure, function, "%s(%d)", text, line);
}

std::string drainSslErrors() noexcept {
    std::string text;
    try {
        if (isLogged()) {
            text = getAndClearSslErrStack();
        }
    } catch (const std::bad_alloc&) {
        text.clear(); // the failure itself is what must be told
    }
    ossl::clearErrors();
    return text;
}

void logSslError(const char* function) noexcept {
    clogmsg(logFailure, function, "SSL Error : %s", drainSslErrors().c_str());
}

} // namespace CmnCrypto
