// What the system tells about a certificate.

#include <vector>

#include "libwincertstore/FileTime.h"
#include "libwincertstore/windows/AnsiText.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

namespace CmnCrypto::WinCertStore {

namespace {

PCERT_INFO infoOf(CertContext context) {
    return windowsContext(context)->pCertInfo;
}

uint64_t numberOf(const FILETIME& time) {
    return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

} // namespace

uint32_t WindowsCertStore::property(CertContext context, uint32_t id, void* data, uint32_t& length) {
    DWORD size = data != nullptr ? length : 0;
    const uint32_t error = errorOf(::CertGetCertificateContextProperty(windowsContext(context), id, data, &size));
    length = size;
    return error;
}

uint32_t WindowsCertStore::name(CertContext context, CertName which, std::string& text) {
    CERT_NAME_BLOB& name = which == CertName::subject ? infoOf(context)->Subject : infoOf(context)->Issuer;
    const DWORD size = ::CertNameToStrA(certEncoding, &name, CERT_SIMPLE_NAME_STR, nullptr, 0);
    if (size == 0) {
        return lastError();
    }
    std::string ansi(size, '\0');
    if (::CertNameToStrA(certEncoding, &name, CERT_SIMPLE_NAME_STR, ansi.data(), size) == 0) {
        return lastError();
    }
    ansi.resize(size - 1); // without its end
    text = fromAnsi(ansi);
    return 0;
}

EncodedCertificate WindowsCertStore::encoded(CertContext context) {
    return {windowsContext(context)->pbCertEncoded, windowsContext(context)->cbCertEncoded};
}

CertValidity WindowsCertStore::validity(CertContext context) {
    return {numberOf(infoOf(context)->NotBefore), numberOf(infoOf(context)->NotAfter)};
}

int WindowsCertStore::verifyTimeValidity(CertContext context, int64_t now) {
    const uint64_t number = fileTimeOf(now);
    FILETIME time = {static_cast<DWORD>(number & UINT32_MAX), static_cast<DWORD>(number >> 32)};
    return static_cast<int>(::CertVerifyTimeValidity(&time, infoOf(context)));
}

bool WindowsCertStore::intendedKeyUsage(CertContext context, unsigned char& bits) {
    BYTE usage[2] = {}; // room for all that there can be: not every system gives a part of it
    ::SetLastError(ERROR_SUCCESS);
    const BOOL found = ::CertGetIntendedKeyUsage(certEncoding, infoOf(context), usage, sizeof usage);
    const DWORD error = ::GetLastError();
    bits = found != FALSE ? usage[0] : 0;
    return found != FALSE || error != ERROR_SUCCESS; // what is there but malformed allows nothing
}

uint32_t WindowsCertStore::enhancedKeyUsage(CertContext context, EnhancedKeyUsage& usage) {
    usage = {};
    DWORD size = 0;
    ::SetLastError(ERROR_SUCCESS);
    if (::CertGetEnhancedKeyUsage(windowsContext(context), 0, nullptr, &size) == FALSE) {
        return lastError();
    }
    usage.unrestricted = ::GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);
    if (usage.unrestricted || size == 0) {
        return 0;
    }
    std::vector<CERT_ENHKEY_USAGE> list(size / sizeof(CERT_ENHKEY_USAGE) + 1); // texts follow the structure
    if (::CertGetEnhancedKeyUsage(windowsContext(context), 0, list.data(), &size) == FALSE) {
        return lastError();
    }
    for (DWORD index = 0; index < list.front().cUsageIdentifier; ++index) {
        usage.usages.emplace_back(list.front().rgpszUsageIdentifier[index]);
    }
    return 0;
}

std::string WindowsCertStore::publicKeyAlgorithm(CertContext context) {
    const char* const identifier = infoOf(context)->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return identifier != nullptr ? identifier : "";
}

} // namespace CmnCrypto::WinCertStore
