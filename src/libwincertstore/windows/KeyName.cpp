#include "libwincertstore/windows/KeyName.h"

#include <cwchar>
// clang-format off: the other needs it
#include <windows.h>
// clang-format on
#include <ncrypt.h>

#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/LastError.h"

namespace CmnCrypto::WinCertStore {

namespace {

bool isSameText(const wchar_t* one, const wchar_t* other) noexcept {
    return one == nullptr || other == nullptr ? one == other : std::wcscmp(one, other) == 0;
}

uint32_t deleteCngKey(const CRYPT_KEY_PROV_INFO& info) noexcept {
    constexpr DWORD flags = NCRYPT_MACHINE_KEY_FLAG | NCRYPT_SILENT_FLAG;
    NCRYPT_PROV_HANDLE provider = 0;
    NCRYPT_KEY_HANDLE key = 0;
    SECURITY_STATUS status = ::NCryptOpenStorageProvider(&provider, info.pwszProvName, 0);
    if (status != ERROR_SUCCESS) {
        return static_cast<uint32_t>(status);
    }
    status = ::NCryptOpenKey(provider, &key, info.pwszContainerName, info.dwKeySpec, flags);
    if (status == ERROR_SUCCESS) {
        status = ::NCryptDeleteKey(key, NCRYPT_SILENT_FLAG);
        if (status != ERROR_SUCCESS) {
            ::NCryptFreeObject(key); // otherwise it went with the key
        }
    }
    ::NCryptFreeObject(provider);
    return static_cast<uint32_t>(status);
}

uint32_t deleteContainer(const CRYPT_KEY_PROV_INFO& info) noexcept {
    constexpr DWORD flags = CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET | CRYPT_SILENT;
    HCRYPTPROV none = 0;
    return errorOf(::CryptAcquireContextW(&none, info.pwszContainerName, info.pwszProvName, info.dwProvType, flags));
}

} // namespace

KeyName::KeyName(PCCERT_CONTEXT context) noexcept {
    read(context);
}

void KeyName::read(PCCERT_CONTEXT context) noexcept {
    m_size = sizeof m_bytes;
    if (::CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, m_bytes, &m_size) == FALSE) {
        m_size = 0;
    }
}

const CRYPT_KEY_PROV_INFO& KeyName::info() const noexcept {
    return *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(m_bytes);
}

bool KeyName::isSameAs(const KeyName& other) const noexcept {
    return isThere() && other.isThere() && info().dwProvType == other.info().dwProvType &&
           isSameText(info().pwszContainerName, other.info().pwszContainerName) &&
           isSameText(info().pwszProvName, other.info().pwszProvName);
}

uint32_t KeyName::deleteKey() const noexcept {
    if (!isThere() || info().pwszContainerName == nullptr) { // which would stand for the default one
        return 0;
    }
    const uint32_t error = info().dwProvType == 0 ? deleteCngKey(info()) : deleteContainer(info());
    return error == windowsNoKeyset ? 0 : error;
}

} // namespace CmnCrypto::WinCertStore
