#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSCONTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSCONTEXT_H

#include <memory>
#include <windows.h>

#include "cmncrypto/CertStorePlatform.h"

namespace CmnCrypto::WinCertStore {

/** What certificates and names are encoded in, as the system's calls are told. */
constexpr DWORD certEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/** @return what the store's opaque pointer is on Windows */
inline PCCERT_CONTEXT windowsContext(CertContext context) noexcept {
    return static_cast<PCCERT_CONTEXT>(context);
}

struct FreeContext {
    void operator()(PCCERT_CONTEXT context) const noexcept { ::CertFreeCertificateContext(context); }
};
/** A context that is given back. */
using ContextOwner = std::unique_ptr<const CERT_CONTEXT, FreeContext>;

struct CloseStore {
    void operator()(void* store) const noexcept { ::CertCloseStore(store, 0); }
};
/** An open store that is closed. */
using StorePtr = std::unique_ptr<void, CloseStore>;

/** @return whether a certificate has a key, be it a kept one or one of an opened bundle */
inline bool hasKey(PCCERT_CONTEXT context) noexcept {
    DWORD size = 0;
    return ::CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size) != FALSE ||
           ::CertGetCertificateContextProperty(context, CERT_KEY_CONTEXT_PROP_ID, nullptr, &size) != FALSE;
}

} // namespace CmnCrypto::WinCertStore

#endif
