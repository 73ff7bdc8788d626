// PKCS#12 bundles out of the stores of the local machine.

#include <windows.h>

#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WidePassword.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

// A name that the compiler's headers may lack.
#ifndef REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY
#define REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY 0x0002
#endif

namespace CmnCrypto::WinCertStore {

namespace {

/** @return a store in memory with a certificate and its issuers; null with the error number */
StorePtr collected(CertStorePlatform& platform, PCCERT_CONTEXT context, uint32_t& error) {
    StorePtr store(::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    error = store ? errorOf(::CertAddCertificateContextToStore(store.get(), context, CERT_STORE_ADD_ALWAYS, nullptr))
                  : lastError();
    std::vector<CertContext> issuers;
    if (error == 0 && platform.chain(context, issuers) == 0) { // without a chain the pair goes alone
        for (const CertContext issuer : issuers) {
            // A link of its own would bring the key of an issuer along.
            const auto* const encoded = windowsContext(issuer);
            if (error == 0 && ::CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded->pbCertEncoded,
                                                                 encoded->cbCertEncoded, CERT_STORE_ADD_USE_EXISTING,
                                                                 nullptr) == FALSE) {
                error = lastError();
            }
        }
    }
    for (const CertContext issuer : issuers) {
        platform.release(issuer);
    }
    return error == 0 ? std::move(store) : nullptr;
}

} // namespace

uint32_t WindowsCertStore::exportBundle(CertContext context, const std::string& password,
                                        std::vector<unsigned char>& der) {
    const auto* const own = windowsContext(context);
    if (!hasKey(own)) {
        return windowsNoKeyProperty;
    }
    uint32_t error = 0;
    const StorePtr store = collected(*this, own, error);
    if (!store) {
        return error;
    }
    const WidePassword wideText(password);
    // Of issuers no keys are wanted, so that their absence is not to be reported.
    constexpr DWORD flags = EXPORT_PRIVATE_KEYS | REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY;
    CRYPT_DATA_BLOB bundle = {0, nullptr};
    if (::PFXExportCertStoreEx(store.get(), &bundle, wideText.get(), nullptr, flags) == FALSE) {
        return lastError();
    }
    der.resize(bundle.cbData);
    bundle.pbData = der.data();
    if (::PFXExportCertStoreEx(store.get(), &bundle, wideText.get(), nullptr, flags) == FALSE) {
        error = lastError();
        OPENSSL_cleanse(der.data(), der.size());
        der.clear();
        return error;
    }
    der.resize(bundle.cbData);
    return 0;
}

} // namespace CmnCrypto::WinCertStore
