// Whether the process may use the private key of a certificate.

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "cmncrypto/WinCertStorePrivateKey.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

int WinCertStoreOpenSSLHelper::RequestPrivKeyPermissionsIfNeeded(const WinCertStoreCertificate& certificate) noexcept {
    constexpr const char* function = "WinCertStoreOpenSSLHelper::RequestPrivKeyPermissionsIfNeeded";
    return withoutThrowing(function, codeNoMemory, [&]() -> int {
        if (certificate.GetContext() == nullptr) {
            return codeInvalidArgument;
        }
        std::unique_ptr<WinCertStorePrivateKey> key;
        WinCertStoreError result = WinCertStorePrivateKey::Acquire(certificate, key);
        if (result == WIN_CERT_STORE_KEY_NOT_ACQUIRED) {
            // They stand behind the handle, which is not given to who may not read: an administrator has to help.
            result = WIN_CERT_STORE_PERMISSIONS_NOT_READ;
        }
        if (result == WIN_CERT_STORE_OK && certificate.GetPlatform()->keySecurity() != nullptr) {
            std::string account;
            result = key->GetOwnAccount(account);
            result = result == WIN_CERT_STORE_OK ? key->GrantRead(account) : result;
        }
        return WinCertStoreCommon::WinCertToQXError(result);
    });
}

} // namespace CmnCrypto::WinCertStore
