// How the bridge reports failures of OpenSSL and of the platform.

#include "libwincertstore/BridgeErrors.h"

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/StoreErrors.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

void WinCertStoreOpenSSLHelper::qx_put_windows_error(const char* function, uint32_t error, int step, const char* file,
                                                     int line) noexcept {
    const std::string text = qx_windows_error_string(error);
    ERR_new();
    ERR_set_debug(file, line, function);
    ERR_set_error(ERR_LIB_USER, step, "Windows Error: 0x%x %s", error, text.c_str());
    logWindowsErrorOf(function, {text}, error);
}

std::string WinCertStoreOpenSSLHelper::qx_windows_error_string(uint32_t error) noexcept {
    return withoutThrowing("WinCertStoreOpenSSLHelper::qx_windows_error_string", std::string(),
                           [&] { return certStorePlatform()->errorText(error); });
}

void WinCertStoreOpenSSLHelper::qx_log_openssl_error(const char* function) noexcept {
    if (isLogged()) {
        withoutThrowing(function, 0, [&] {
            clogmsg(logFailure, function, "%s", sslErrorsKept().c_str());
            return 0;
        });
    }
}

} // namespace CmnCrypto::WinCertStore
