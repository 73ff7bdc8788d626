#include "cmncrypto/WinCertStoreCommon.h"

#include <array>

#include "frame/Logging.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr int traceDetail = 10;

/** Product status codes by WinCertStoreError. */
constexpr std::array<int, 16> productCodes = {0,    36,   8793, 8793, 8789, 8788, 8789, 8791,
                                              8791, 8790, 8792, 8790, 8789, 8794, 158,  200};
constexpr int codeUnknownError = 8777;

} // namespace

int WinCertStoreCommon::WinCertToQXError(WinCertStoreError error) {
    const auto index = static_cast<size_t>(error); // a negative number becomes a large one
    if (index < productCodes.size()) {
        return productCodes[index];
    }
    WinCertStoreLogError("WinCertToQXError", static_cast<unsigned long>(error), "Unknown error code.");
    return codeUnknownError;
}

void WinCertStoreCommon::WinCertStoreLogError(const std::string& function, const std::string& message) {
    clogmsg(logFailure, function.c_str(), "%s", message.c_str());
}

void WinCertStoreCommon::WinCertStoreLogError(const std::string& function, unsigned long code,
                                              const std::string& message) {
    clogmsg(logFailure, function.c_str(), "%s Error: %lu", message.c_str(), code);
}

void WinCertStoreCommon::WinCertStoreLogErrorHex(const std::string& function, unsigned int code,
                                                 const std::string& message) {
    clogmsg(logFailure, function.c_str(), "%s Windows Error: 0x%x", message.c_str(), code);
}

void WinCertStoreCommon::WinCertStoreTraceHex(const std::string& function, unsigned int value,
                                              const std::string& message) {
    clogmsgv(logInfo, traceDetail, function.c_str(), "%s: 0x%x", message.c_str(), value);
}

void WinCertStoreCommon::WinCertStoreTraceInt(const std::string& function, int value, const std::string& message) {
    clogmsgv(logInfo, traceDetail, function.c_str(), "%s: %d", message.c_str(), value);
}

void WinCertStoreCommon::WinCertStoreTraceStr(const std::string& function, const std::string& message) {
    clogmsgv(logInfo, traceDetail, function.c_str(), "%s", message.c_str());
}

} // namespace CmnCrypto::WinCertStore
