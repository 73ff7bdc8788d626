// PKCS#12 bundles into the stores of the local machine.

#include <climits>
#include <utility>
#include <vector>
#include <windows.h>

#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/KeyName.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WidePassword.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

// Names that the compiler's headers may lack.
#ifndef PKCS12_ALWAYS_CNG_KSP
#define PKCS12_ALWAYS_CNG_KSP 0x00000200
#endif
#ifndef PKCS12_NO_PERSIST_KEY
#define PKCS12_NO_PERSIST_KEY 0x00008000
#endif

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* importBundleTag = "WindowsCertStore::importBundle";

StorePtr openedBundle(CRYPT_DATA_BLOB bundle, const WidePassword& password, DWORD flags, uint32_t& error) noexcept {
    ::SetLastError(ERROR_SUCCESS); // not every system tells why it refuses flags
    StorePtr store(::PFXImportCertStore(&bundle, password.get(), flags));
    error = store ? 0 : lastError();
    return store;
}

/** @return the first certificate that has a key, if there is one */
ContextOwner firstWithKey(HCERTSTORE bundle) noexcept {
    ContextOwner next;
    do {
        next.reset(::CertEnumCertificatesInStore(bundle, next.release()));
    } while (next && !hasKey(next.get()));
    return next;
}

bool areEqual(PCCERT_CONTEXT one, PCCERT_CONTEXT other) noexcept {
    return ::CertCompareCertificate(X509_ASN_ENCODING, one->pCertInfo, other->pCertInfo) != FALSE;
}

/** A bundle whose keys went into the machine's key store as it was opened. All but one of them are deleted again. */
class KeptBundle {
public:
    explicit KeptBundle(StorePtr store) noexcept : m_store(std::move(store)) {}
    ~KeptBundle() {
        ContextOwner next;
        while (m_store && (next.reset(::CertEnumCertificatesInStore(m_store.get(), next.release())), next)) {
            const KeyName name(next.get());
            const uint32_t error = name.isSameAs(m_kept) ? 0 : name.deleteKey();
            if (error != 0) {
                logWindowsErrorOf(importBundleTag, {"An imported private key cannot be deleted again."}, error);
            }
        }
    }
    KeptBundle(const KeptBundle&) = delete;
    KeptBundle& operator=(const KeptBundle&) = delete;

    HCERTSTORE get() const noexcept { return m_store.get(); }
    void keepKeyOf(PCCERT_CONTEXT context) noexcept { m_kept.read(context); }

private:
    StorePtr m_store;
    KeyName m_kept;
};

/** Opens a bundle, its keys going into the key store of CNG where the system knows how. */
StorePtr openedToKeep(CRYPT_DATA_BLOB bundle, const WidePassword& password, bool exportable, uint32_t& error) noexcept {
    const DWORD flags = CRYPT_MACHINE_KEYSET | (exportable ? CRYPT_EXPORTABLE : 0U);
    StorePtr store = openedBundle(bundle, password, flags | PKCS12_ALWAYS_CNG_KSP, error);
    return store || error == windowsInvalidPassword ? std::move(store) : openedBundle(bundle, password, flags, error);
}

/** Issuers that are new to a store. They go again unless they are kept. */
class NewIssuers {
public:
    explicit NewIssuers(CertStorePlatform& platform) noexcept : m_platform(platform) {}
    ~NewIssuers() {
        for (ContextOwner& context : m_added) {
            if (const uint32_t error = m_platform.removeFromStore(context.release())) {
                logWindowsErrorOf(importBundleTag, {"An imported issuer cannot be removed again."}, error);
            }
        }
    }
    NewIssuers(const NewIssuers&) = delete;
    NewIssuers& operator=(const NewIssuers&) = delete;

    /** Adds all certificates of a bundle but one, without keys. @return the error number @throws std::bad_alloc */
    uint32_t add(HCERTSTORE store, HCERTSTORE bundle, PCCERT_CONTEXT except) {
        ContextOwner next;
        uint32_t error = 0;
        while (error == 0 && (next.reset(::CertEnumCertificatesInStore(bundle, next.release())), next)) {
            error = areEqual(next.get(), except) ? 0 : add(store, *next);
        }
        return error;
    }
    void keep() noexcept { m_added.clear(); }

private:
    uint32_t add(HCERTSTORE store, const CERT_CONTEXT& issuer) {
        m_added.reserve(m_added.size() + 1); // once it is in the store nothing may fail
        PCCERT_CONTEXT added = nullptr;
        const uint32_t error = errorOf(::CertAddEncodedCertificateToStore(
            store, X509_ASN_ENCODING, issuer.pbCertEncoded, issuer.cbCertEncoded, CERT_STORE_ADD_NEW, &added));
        if (error == 0) {
            m_added.emplace_back(added);
        }
        return error == windowsExists ? 0 : error;
    }

    CertStorePlatform& m_platform;
    std::vector<ContextOwner> m_added;
};

/** Adds the certificate that is the bundle's own, its key with it. @param disposition as it is in the store or not */
uint32_t addWithKey(HCERTSTORE store, KeptBundle& bundle, PCCERT_CONTEXT own, DWORD disposition,
                    CertContext& context) noexcept {
    ContextOwner next;
    do {
        next.reset(::CertEnumCertificatesInStore(bundle.get(), next.release()));
    } while (next && !areEqual(next.get(), own));
    if (!next) {
        return windowsNoKeyProperty;
    }
    PCCERT_CONTEXT added = nullptr;
    const uint32_t error = errorOf(::CertAddCertificateContextToStore(store, next.get(), disposition, &added));
    if (error == 0) {
        bundle.keepKeyOf(next.get());
        context = added;
    }
    return error;
}

} // namespace

uint32_t WindowsCertStore::importBundle(CertStoreHandle store, const unsigned char* der, size_t length,
                                        const std::string& password, bool exportable, CertContext& context) {
    if (length > INT_MAX) {
        return windowsInvalidData;
    }
    const CRYPT_DATA_BLOB bundle = {static_cast<DWORD>(length), const_cast<BYTE*>(der)}; // NOLINT: it is only read
    const WidePassword wideText(password);
    uint32_t error = 0;
    // A key that is there already is to stay the only one: what the bundle has is seen before anything is kept of it.
    const StorePtr seen = openedBundle(bundle, wideText, PKCS12_NO_PERSIST_KEY, error);
    const ContextOwner own = seen ? firstWithKey(seen.get()) : nullptr;
    if (!own) {
        return error != 0 ? error : windowsNoKeyProperty;
    }
    ContextOwner existing(::CertFindCertificateInStore(store, certEncoding, 0, CERT_FIND_EXISTING, own.get(), nullptr));
    if (existing && hasKey(existing.get())) {
        context = existing.release();
        return 0;
    }
    NewIssuers issuers(*this);
    if (const uint32_t failure = issuers.add(store, seen.get(), own.get())) {
        return failure;
    }
    KeptBundle kept(openedToKeep(bundle, wideText, exportable, error));
    const DWORD disposition = existing ? CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES : CERT_STORE_ADD_NEW;
    error = kept.get() != nullptr ? addWithKey(store, kept, own.get(), disposition, context) : error;
    if (error == 0) {
        issuers.keep();
    }
    return error;
}

} // namespace CmnCrypto::WinCertStore
