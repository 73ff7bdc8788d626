// Stores of the local machine: opened, searched and changed.

#include "libwincertstore/windows/WindowsCertStore.h"

#include <climits>
#include <new>

#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/AnsiText.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsContext.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr DWORD sha1Length = 20;

/** @param previous given back by the system in any case */
CertContext find(CertStoreHandle store, DWORD how, const void* what, PCCERT_CONTEXT previous) {
    const PCCERT_CONTEXT found = ::CertFindCertificateInStore(store, certEncoding, 0, how, what, previous);
    if (found == nullptr) {
        const uint32_t error = lastError();
        if (error == windowsNotEnoughMemory || error == static_cast<uint32_t>(E_OUTOFMEMORY)) {
            throw std::bad_alloc(); // a certificate must not be passed over because memory is short
        }
    }
    return found;
}

} // namespace

uint32_t WindowsCertStore::openStore(const std::string& name, bool readOnly, CertStoreHandle& store) {
    return withoutThrowing("WindowsCertStore::openStore", windowsNotEnoughMemory, [&] {
        std::string ansi;
        if (!toAnsi(name, ansi)) {
            return windowsFileNotFound;
        }
        const DWORD flags = CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_OPEN_EXISTING_FLAG |
                            (readOnly ? CERT_STORE_READONLY_FLAG : 0U);
        store = ::CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, flags, ansi.c_str());
        return errorOf(store != nullptr ? TRUE : FALSE);
    });
}

void WindowsCertStore::closeStore(CertStoreHandle store) {
    ::CertCloseStore(store, 0); // no flags: contexts may live on, and keep what they need
}

CertContext WindowsCertStore::findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) {
    ContextOwner from(windowsContext(previous));
    std::string ansi;
    return toAnsi(text, ansi) ? find(store, CERT_FIND_SUBJECT_STR_A, ansi.c_str(), from.release()) : nullptr;
}

CertContext WindowsCertStore::findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) {
    const CRYPT_HASH_BLOB digest = {sha1Length, const_cast<BYTE*>(sha1)}; // NOLINT: it is only read
    return find(store, CERT_FIND_HASH, &digest, windowsContext(previous));
}

uint32_t WindowsCertStore::addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) {
    return errorOf(::CertAddCertificateContextToStore(store, windowsContext(context), disposition, nullptr));
}

CertContext WindowsCertStore::duplicate(CertContext context) {
    return ::CertDuplicateCertificateContext(windowsContext(context));
}

void WindowsCertStore::release(CertContext context) {
    ::CertFreeCertificateContext(windowsContext(context));
}

uint32_t WindowsCertStore::createContext(const unsigned char* der, size_t length, CertContext& context) {
    if (length > ULONG_MAX) {
        return windowsInvalidParameter;
    }
    context = ::CertCreateCertificateContext(certEncoding, der, static_cast<DWORD>(length));
    return errorOf(context != nullptr ? TRUE : FALSE);
}

uint32_t WindowsCertStore::removeFromStore(CertContext context) {
    HCERTSTORE store = ::CertDuplicateStore(windowsContext(context)->hCertStore);
    const uint32_t error = errorOf(::CertDeleteCertificateFromStore(windowsContext(context)));
    if (error == 0) { // not every system writes by itself what has gone
        ::CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }
    ::CertCloseStore(store, 0);
    return error;
}

} // namespace CmnCrypto::WinCertStore
