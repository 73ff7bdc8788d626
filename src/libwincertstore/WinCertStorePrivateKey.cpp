#include "cmncrypto/WinCertStorePrivateKey.h"

#include "cmncrypto/WinCertStoreCNGPrivateKey.h"
#include "cmncrypto/WinCertStoreLegacyPrivateKey.h"
#include "libwincertstore/PlatformFailure.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* acquireTag = "WinCertStorePrivateKey::Acquire";

/** @return a wrapper that keeps the context itself, whoever keeps that of @p certificate */
WinCertStoreCertificate kept(const WinCertStoreCertificate& certificate) noexcept {
    const std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
    return WinCertStoreCertificate(platform->duplicate(certificate.GetContext()), CERT_MEMORY_OWNED, platform);
}

/** @return @p key in an object of its kind; released when memory is short @throws std::bad_alloc */
std::unique_ptr<WinCertStorePrivateKey> wrapped(const WinCertStoreCertificate& certificate, const StoreKey& key) {
    const bool isCng = key.keySpec == ncryptKeySpec;
    try {
        if (isCng) {
            return std::make_unique<WinCertStoreCNGPrivateKey>(certificate, key);
        }
        return std::make_unique<WinCertStoreLegacyPrivateKey>(certificate, key);
    } catch (const std::bad_alloc&) {
        SigningBackEnd& signing = certificate.GetPlatform()->signing();
        if (key.mustRelease && isCng) {
            signing.freeCngKey(key.handle);
        } else if (key.mustRelease) {
            signing.releaseProvider(key.handle);
        }
        throw;
    }
}

/** Runs @p use with the platform's key security. */
template <class Use>
WinCertStoreError withSecurity(const char* function, const WinCertStoreCertificate& certificate,
                               const Use& use) noexcept {
    return withoutThrowing(function, WIN_CERT_STORE_NO_MEMORY, [&] {
        const std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
        KeySecurity* const security = platform->keySecurity();
        if (security == nullptr) {
            logFailureOf(function, {"Who may use a private key is no matter of this store."});
            return WIN_CERT_STORE_NOT_SUPPORTED;
        }
        return use(*platform, *security);
    });
}

} // namespace

WinCertStoreError WinCertStorePrivateKey::Acquire(const WinCertStoreCertificate& certificate,
                                                  std::unique_ptr<WinCertStorePrivateKey>& key) noexcept {
    key.reset();
    return withoutThrowing(acquireTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        if (certificate.GetContext() == nullptr) {
            logFailureOf(acquireTag, {"There is no certificate."});
            return WIN_CERT_STORE_NOT_FOUND;
        }
        const std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
        StoreKey acquired;
        if (const uint32_t error = platform->acquireKey(certificate.GetContext(), acquired)) {
            return platformFailure(acquireTag, {"The private key cannot be acquired"}, *platform, error,
                                   WIN_CERT_STORE_KEY_NOT_ACQUIRED,
                                   {{windowsNoKeyProperty, windowsNoKeyProperty, WIN_CERT_STORE_NO_PRIVATE_KEY}});
        }
        key = wrapped(certificate, acquired);
        return WIN_CERT_STORE_OK;
    });
}

WinCertStorePrivateKey::WinCertStorePrivateKey(const WinCertStoreCertificate& certificate, const StoreKey& key) noexcept
    : m_certificate(kept(certificate)), m_key(key) {}

WinCertStorePrivateKey::~WinCertStorePrivateKey() = default;

uintptr_t WinCertStorePrivateKey::GetHandle() const noexcept {
    return m_key.handle;
}

uint32_t WinCertStorePrivateKey::GetKeySpec() const noexcept {
    return m_key.keySpec;
}

SigningBackEnd* WinCertStorePrivateKey::Releaser() const noexcept {
    return m_key.mustRelease ? &m_certificate.GetPlatform()->signing() : nullptr;
}

WinCertStoreError WinCertStorePrivateKey::IsReadGranted(const std::string& account, bool& granted) const noexcept {
    constexpr const char* function = "WinCertStorePrivateKey::IsReadGranted";
    return withSecurity(function, m_certificate, [&](CertStorePlatform& platform, KeySecurity& security) {
        SecurityDescriptor descriptor;
        bool answer = false;
        uint32_t error = ReadSecurity(security, descriptor);
        error = error != 0 ? error : security.mayRead(descriptor, account, answer);
        if (error != 0) {
            return platformFailure(function, {"The permissions of the private key cannot be read for [", account, "]"},
                                   platform, error, WIN_CERT_STORE_PERMISSIONS_NOT_READ);
        }
        granted = answer;
        return WIN_CERT_STORE_OK;
    });
}

WinCertStoreError WinCertStorePrivateKey::SetRead(const std::string& account, bool granted) noexcept {
    constexpr const char* function = "WinCertStorePrivateKey::SetRead";
    return withSecurity(function, m_certificate, [&](CertStorePlatform& platform, KeySecurity& security) {
        SecurityDescriptor descriptor;
        if (const uint32_t error = ReadSecurity(security, descriptor)) {
            return platformFailure(function, {"The permissions of the private key cannot be read"}, platform, error,
                                   WIN_CERT_STORE_PERMISSIONS_NOT_READ);
        }
        const SecurityDescriptor before = descriptor;
        uint32_t error = security.setRead(descriptor, account, granted);
        error = error != 0 ? error : WriteSecurity(security, descriptor);
        if (error != 0) {
            return platformFailure(function, {"The permissions of the private key cannot be set for [", account, "]"},
                                   platform, error, WIN_CERT_STORE_PERMISSIONS_NOT_SET);
        }
        bool isEffective = !granted;
        const WinCertStoreError result = granted ? IsReadGranted(account, isEffective) : WIN_CERT_STORE_OK;
        if (result != WIN_CERT_STORE_OK || isEffective) {
            return result;
        }
        error = WriteSecurity(security, before); // what does not help is not to stay
        return platformFailure(function, {"The permissions of the private key still keep [", account, "] out"},
                               platform, error != 0 ? error : windowsAccessDenied, WIN_CERT_STORE_PERMISSIONS_NOT_SET);
    });
}

WinCertStoreError WinCertStorePrivateKey::GrantRead(const std::string& account) noexcept {
    bool granted = false;
    const WinCertStoreError result = IsReadGranted(account, granted);
    return result != WIN_CERT_STORE_OK || granted ? result : SetRead(account, true);
}

WinCertStoreError WinCertStorePrivateKey::RevokeRead(const std::string& account) noexcept {
    return SetRead(account, false);
}

WinCertStoreError WinCertStorePrivateKey::GetOwnAccount(std::string& account) const noexcept {
    constexpr const char* function = "WinCertStorePrivateKey::GetOwnAccount";
    return withSecurity(function, m_certificate, [&](CertStorePlatform& platform, KeySecurity& security) {
        std::string own;
        if (const uint32_t error = security.ownAccount(own)) {
            return platformFailure(function, {"The process's account is not known"}, platform, error,
                                   WIN_CERT_STORE_PERMISSIONS_NOT_READ);
        }
        account = std::move(own);
        return WIN_CERT_STORE_OK;
    });
}

} // namespace CmnCrypto::WinCertStore
