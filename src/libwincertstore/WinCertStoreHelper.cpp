#include "cmncrypto/WinCertStoreHelper.h"

#include "libwincertstore/FingerprintText.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/PlatformFailure.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* removeTag = "WinCertStoreHelper::RemoveCertificate";

WinCertStoreError removeFrom(const std::string& storeName, const std::string& fingerprint) {
    const std::shared_ptr<CertStorePlatform> platform = certStorePlatform();
    std::vector<unsigned char> sha1;
    if (const uint32_t error = platform->hexToBinary(fingerprintDigits(fingerprint), sha1)) {
        return platformFailure(removeTag, {"The fingerprint cannot be read"}, *platform, error,
                               WIN_CERT_STORE_NOT_FOUND);
    }
    const OpenStore store(*platform, storeName, false);
    if (store.error() != 0) {
        return platformFailure(removeTag, {"The store ", storeName, " cannot be opened"}, *platform, store.error(),
                               WIN_CERT_STORE_IMPORT_NOT_ADDED,
                               {{windowsFileNotFound, windowsFileNotFound, WIN_CERT_STORE_NOT_FOUND}});
    }
    const auto next = [&](CertContext previous) {
        return WinCertStoreCertificate(platform->findByHash(store.get(), sha1.data(), previous), CERT_MEMORY_OWNED,
                                       platform);
    };
    WinCertStoreCertificate found = next(nullptr);
    if (found.GetContext() == nullptr) {
        logFailureOf(removeTag, {"The store ", storeName, " has no certificate with the fingerprint ", fingerprint});
        return WIN_CERT_STORE_NOT_FOUND;
    }
    while (found.GetContext() != nullptr) { // stores can hold it several times
        const WinCertStoreCertificate following = next(platform->duplicate(found.GetContext()));
        if (const uint32_t error = platform->removeFromStore(platform->duplicate(found.GetContext()))) {
            return platformFailure(removeTag, {"The certificate cannot be removed from the store ", storeName},
                                   *platform, error, WIN_CERT_STORE_IMPORT_NOT_ADDED);
        }
        found = following;
    }
    return WIN_CERT_STORE_OK;
}

} // namespace

bool WinCertStoreHelper::IsValidFingerprint(const std::string& fingerprint) {
    constexpr const char* function = "WinCertStoreHelper::IsValidFingerprint";
    const std::string digits = fingerprintDigits(fingerprint);
    if (digits.size() != fingerprintLength) {
        logFailureOf(function, {"Certificate fingerprint length must be ", std::to_string(fingerprintLength),
                                " but it is ", std::to_string(digits.size())});
        return false;
    }
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        logFailureOf(function, {"Certificate fingerprint ", fingerprint, " contains non-hex characters."});
        return false;
    }
    return true;
}

WinCertStoreError WinCertStoreHelper::RemoveCertificate(const std::string& fingerprint,
                                                        const std::string& store) noexcept {
    return withoutThrowing(removeTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        return IsValidFingerprint(fingerprint) ? removeFrom(store, fingerprint) : WIN_CERT_STORE_NOT_FOUND;
    });
}

} // namespace CmnCrypto::WinCertStore
