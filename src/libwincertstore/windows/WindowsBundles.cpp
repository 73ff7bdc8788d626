// PKCS#12 bundles into and out of the stores of the local machine.

#include <climits>
#include <memory>
#include <windows.h>

#include "frame/Wide.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"
#include "ossl/OpenSsl.h"

// Names that the compiler's headers may lack.
#ifndef PKCS12_ALWAYS_CNG_KSP
#define PKCS12_ALWAYS_CNG_KSP 0x00000200
#endif
#ifndef REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY
#define REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY 0x0002
#endif

namespace CmnCrypto::WinCertStore {

namespace {

/** A password in wide characters, wiped with the object. */
class WidePassword {
public:
    explicit WidePassword(const std::string& text) : m_text(wide(text)) {}
    ~WidePassword() { OPENSSL_cleanse(m_text.data(), m_text.size() * sizeof(wchar_t)); }
    WidePassword(const WidePassword&) = delete;
    WidePassword& operator=(const WidePassword&) = delete;
    const wchar_t* get() const noexcept { return m_text.c_str(); }

private:
    std::wstring m_text;
};

struct CloseStore {
    void operator()(void* store) const noexcept { ::CertCloseStore(store, 0); }
};
using StorePtr = std::unique_ptr<void, CloseStore>;

/** @return whether a certificate of an opened bundle has a key */
bool hasKey(PCCERT_CONTEXT context) noexcept {
    DWORD size = 0;
    return ::CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size) != FALSE ||
           ::CertGetCertificateContextProperty(context, CERT_KEY_CONTEXT_PROP_ID, nullptr, &size) != FALSE;
}

/** Opens a bundle, its keys going into the machine's key store: into that of CNG, where the system knows how. */
StorePtr opened(CRYPT_DATA_BLOB* bundle, const wchar_t* password, bool exportable, uint32_t& error) noexcept {
    const DWORD flags = CRYPT_MACHINE_KEYSET | (exportable ? CRYPT_EXPORTABLE : 0U);
    ::SetLastError(ERROR_SUCCESS); // not every system tells why it refuses flags
    StorePtr store(::PFXImportCertStore(bundle, password, flags | PKCS12_ALWAYS_CNG_KSP));
    error = store ? 0 : lastError();
    if (!store && error != windowsInvalidPassword) {
        store.reset(::PFXImportCertStore(bundle, password, flags));
        error = store ? 0 : lastError();
    }
    return store;
}

/** Adds a certificate with its properties. @return the error number */
uint32_t add(HCERTSTORE store, PCCERT_CONTEXT context, DWORD disposition, PCCERT_CONTEXT* added) noexcept {
    return errorOf(::CertAddCertificateContextToStore(store, context, disposition, added));
}

/** Adds all that a bundle holds, the certificate with the key first. */
uint32_t addAll(HCERTSTORE store, HCERTSTORE bundle, CertContext& context) noexcept {
    ContextOwner own;
    PCCERT_CONTEXT next = nullptr;
    while (!own && (next = ::CertEnumCertificatesInStore(bundle, next)) != nullptr) {
        if (hasKey(next)) {
            own.reset(next);
        }
    }
    if (!own) {
        return windowsNoKeyProperty;
    }
    PCCERT_CONTEXT added = nullptr;
    if (const uint32_t error = add(store, own.get(), CERT_STORE_ADD_REPLACE_EXISTING, &added)) {
        return error;
    }
    ContextOwner kept(added);
    next = nullptr;
    while ((next = ::CertEnumCertificatesInStore(bundle, next)) != nullptr) {
        if (::CertCompareCertificate(X509_ASN_ENCODING, next->pCertInfo, own->pCertInfo) != FALSE) {
            continue;
        }
        if (const uint32_t error = add(store, next, CERT_STORE_ADD_USE_EXISTING, nullptr)) {
            ::CertFreeCertificateContext(next); // the search ends early
            ::CertDeleteCertificateFromStore(kept.release());
            return error;
        }
    }
    context = kept.release();
    return 0;
}

/** @return a store in memory with a certificate and its issuers; null with the error number */
StorePtr collected(CertStorePlatform& platform, PCCERT_CONTEXT context, uint32_t& error) {
    StorePtr store(::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    error = store ? add(store.get(), context, CERT_STORE_ADD_ALWAYS, nullptr) : lastError();
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

uint32_t WindowsCertStore::importBundle(CertStoreHandle store, const unsigned char* der, size_t length,
                                        const std::string& password, bool exportable, CertContext& context) {
    if (length > INT_MAX) {
        return windowsInvalidData;
    }
    CRYPT_DATA_BLOB bundle = {static_cast<DWORD>(length), const_cast<BYTE*>(der)}; // NOLINT: it is only read
    const WidePassword wideText(password);
    uint32_t error = 0;
    const StorePtr held = opened(&bundle, wideText.get(), exportable, error);
    return held ? addAll(store, held.get(), context) : error;
}

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
    constexpr DWORD flags = EXPORT_PRIVATE_KEYS | REPORT_NO_PRIVATE_KEY | REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY;
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
