// Finding a certificate by its fingerprint.

#include "cmncrypto/CertificateSelector.h"
#include "cmncrypto/WinCertStoreHelper.h"
#include "libwincertstore/FingerprintText.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/StorePathText.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* lookupTag = "CertificateSelector::FindCertInStore";
constexpr size_t sha1Length = 20;

int findInOpenStore(const std::shared_ptr<CertStorePlatform>& platform, CertStoreHandle store,
                    const std::string& fingerprint, WinCertStoreCertificate& certificate) {
    if (store == nullptr || fingerprint.empty() || !WinCertStoreHelper::IsValidFingerprint(fingerprint)) {
        return codeInvalidArgument;
    }
    std::vector<unsigned char> sha1;
    const std::string digits = fingerprintDigits(fingerprint).substr(0, fingerprintLength);
    const uint32_t error = platform->hexToBinary(digits, sha1);
    if (error != 0 || sha1.size() != sha1Length) {
        logWindowsErrorOf(lookupTag, {"CryptStringToBinary failed."}, error);
        return codeInvalidArgument;
    }
    CertContext found = nullptr;
    try {
        found = platform->findByHash(store, sha1.data(), nullptr);
    } catch (const SearchFailure&) { // logged
        return codeNoFingerprint;
    }
    if (found == nullptr) {
        logFailureOf(lookupTag, {"No certificate found in certstore with certificate fingerprint: ", fingerprint});
        return codeNoSuchFingerprint;
    }
    certificate = WinCertStoreCertificate(found, CERT_MEMORY_OWNED, platform);
    return 0;
}

int findInStores(const std::string& names, const std::string& fingerprint, WinCertStoreCertificate& certificate) {
    const std::vector<std::string> stores = storePathsOf(names);
    if (stores.empty()) {
        logFailureOf(lookupTag, {"store names list is empty."});
        return codeStorePathMalformed;
    }
    const std::shared_ptr<CertStorePlatform> platform = certStorePlatform();
    int result = 0;
    for (const std::string& name : stores) {
        const OpenStore store(*platform, name, true);
        if (store.error() != 0) {
            logFailureOf(lookupTag,
                         {"CertOpenStore failed to open store ", name, ". Windows Error: 0x", store.errorDigits()});
            result = codeStoreNotOpened;
            continue;
        }
        result = findInOpenStore(platform, store.get(), fingerprint, certificate);
        if (result == 0) {
            break;
        }
    }
    return result;
}

} // namespace

int CertificateSelector::FindCertInStore(const std::string& fingerprint,
                                         WinCertStoreCertificate& certificate) const noexcept {
    return withoutThrowing(lookupTag, codeInvalidArgument,
                           [&] { return findInStores(m_certPath, fingerprint, certificate); });
}

int CertificateSelector::FindCertInStore(CertStoreHandle store, const std::string& fingerprint,
                                         WinCertStoreCertificate& certificate) noexcept {
    return withoutThrowing(lookupTag, codeInvalidArgument,
                           [&] { return findInOpenStore(certStorePlatform(), store, fingerprint, certificate); });
}

} // namespace CmnCrypto::WinCertStore
