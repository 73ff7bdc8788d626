// Private keys of certificates, as handles.

#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

namespace CmnCrypto::WinCertStore {

namespace {

/**
 * CNG where it can be had: it also opens the keys of the old providers, which by CryptoAPI sign 36 bytes and nothing
 * else, so that TLS 1.2 would fail. A key of another certificate is refused here and not in the first handshake. And
 * nobody sits before a service to answer a window.
 */
constexpr DWORD acquisition =
    CRYPT_ACQUIRE_PREFER_NCRYPT_KEY_FLAG | CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_SILENT_FLAG;

} // namespace

uint32_t WindowsCertStore::acquireKey(CertContext context, StoreKey& key) {
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE handle = 0;
    DWORD keySpec = 0;
    BOOL mustRelease = FALSE;
    const uint32_t error = errorOf(::CryptAcquireCertificatePrivateKey(windowsContext(context), acquisition, nullptr,
                                                                       &handle, &keySpec, &mustRelease));
    if (error == 0) {
        key = {static_cast<uintptr_t>(handle), keySpec, mustRelease != FALSE};
    }
    return error;
}

SigningBackEnd& WindowsCertStore::signing() {
    return m_signing;
}

} // namespace CmnCrypto::WinCertStore
