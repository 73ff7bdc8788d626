#include "libwincertstore/PlatformFailure.h"

#include <string>

#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"

namespace CmnCrypto::WinCertStore {

WinCertStoreError platformFailure(const char* function, std::initializer_list<std::string_view> parts,
                                  CertStorePlatform& platform, uint32_t error, WinCertStoreError otherwise,
                                  std::initializer_list<KnownError> known) {
    std::string message;
    for (const std::string_view part : parts) {
        message.append(part);
    }
    logWindowsErrorOf(function, {message, ": ", platform.errorText(error)}, error);
    if (error == windowsNotEnoughMemory) {
        return WIN_CERT_STORE_NO_MEMORY;
    }
    if (error == windowsNotSupported) {
        return WIN_CERT_STORE_NOT_SUPPORTED;
    }
    for (const KnownError& candidate : known) {
        if (candidate.first <= error && error <= candidate.last) {
            return candidate.meaning;
        }
    }
    return otherwise;
}

} // namespace CmnCrypto::WinCertStore
