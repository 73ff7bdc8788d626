#include "libwincertstore/StoreLog.h"

#include <string>

namespace CmnCrypto::WinCertStore {

namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text.append(part);
    }
    return text;
}

/** Hands the joined parts to @p log where somebody listens; a message that memory is too short for is lost. */
template <class Log> void logJoined(std::initializer_list<std::string_view> parts, const Log& log) noexcept {
    if (!isLogged()) {
        return;
    }
    try {
        log(joined(parts));
    } catch (const std::bad_alloc&) {
        return; // the code tells what happened
    }
}

} // namespace

void logFailureOf(const char* function, std::initializer_list<std::string_view> parts) noexcept {
    logJoined(parts, [&](const std::string& text) { WinCertStoreCommon::WinCertStoreLogError(function, text); });
}

void traceOf(const char* function, std::initializer_list<std::string_view> parts) noexcept {
    logJoined(parts, [&](const std::string& text) { WinCertStoreCommon::WinCertStoreTraceStr(function, text); });
}

void logWindowsErrorOf(const char* function, std::initializer_list<std::string_view> parts, uint32_t error) noexcept {
    logJoined(parts,
              [&](const std::string& text) { WinCertStoreCommon::WinCertStoreLogErrorHex(function, error, text); });
}

void traceWindowsErrorOf(const char* function, std::initializer_list<std::string_view> parts, uint32_t error) noexcept {
    logJoined(parts, [&](const std::string& text) { WinCertStoreCommon::WinCertStoreTraceHex(function, error, text); });
}

} // namespace CmnCrypto::WinCertStore
