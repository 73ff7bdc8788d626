#include "cmncrypto/WinCertStoreCertificate.h"

#include <climits>
#include <functional>
#include <utility>
#include <vector>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "cmncrypto/X509Certificate.h"
#include "frame/Clock.h"
#include "libwincertstore/FileTime.h"
#include "libwincertstore/StoreErrors.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

WinCertStoreCertificate::WinCertStoreCertificate() noexcept = default;

WinCertStoreCertificate::WinCertStoreCertificate(CertContext context, CertMemoryMgmtType type,
                                                 std::shared_ptr<CertStorePlatform> platform) noexcept
    : m_platform(std::move(platform)), m_context(context), m_type(type) {
    if (m_context != nullptr && m_platform == nullptr) {
        m_platform = certStorePlatform();
    }
}

WinCertStoreCertificate::WinCertStoreCertificate(const WinCertStoreCertificate& other) noexcept
    : m_platform(other.m_platform), m_context(other.m_context), m_type(other.m_type) {
    if (m_context != nullptr && m_type == CERT_MEMORY_OWNED) {
        m_platform->duplicate(m_context);
    }
}

WinCertStoreCertificate& WinCertStoreCertificate::operator=(const WinCertStoreCertificate& other) noexcept {
    WinCertStoreCertificate copy(other); // counted before the old one goes: both may be the same
    std::swap(m_platform, copy.m_platform);
    std::swap(m_context, copy.m_context);
    std::swap(m_type, copy.m_type);
    return *this;
}

WinCertStoreCertificate& WinCertStoreCertificate::operator=(CertContext context) noexcept {
    const WinCertStoreCertificate borrowed(context, CERT_MEMORY_BORROWED);
    WinCertStoreCertificate owner(borrowed);
    owner.m_type = CERT_MEMORY_OWNED;
    if (context != nullptr) {
        owner.m_platform->duplicate(context);
    }
    return *this = owner;
}

WinCertStoreCertificate::~WinCertStoreCertificate() {
    if (m_context != nullptr && m_type == CERT_MEMORY_OWNED) {
        m_platform->release(m_context);
    }
}

CertContext WinCertStoreCertificate::GetContext() const noexcept {
    return m_context;
}

std::shared_ptr<CertStorePlatform> WinCertStoreCertificate::GetPlatform() const noexcept {
    return m_platform;
}

bool WinCertStoreCertificate::operator==(const WinCertStoreCertificate& other) const noexcept {
    return m_context == other.m_context;
}

bool WinCertStoreCertificate::operator<(const WinCertStoreCertificate& other) const noexcept {
    return std::less<>()(m_context, other.m_context); // selection keys its map by the address on purpose
}

int64_t WinCertStoreCertificate::GetStartDate() const noexcept {
    return m_context != nullptr ? secondsOf(m_platform->validity(m_context).notBefore) : 0;
}

int64_t WinCertStoreCertificate::GetEndDate() const noexcept {
    return m_context != nullptr ? secondsOf(m_platform->validity(m_context).notAfter) : 0;
}

namespace {

int readName(CertStorePlatform* platform, CertContext context, CertName which, const char* function,
             std::string& name) noexcept {
    return withoutThrowing(function, codeReadFailed, [&]() -> int {
        std::string text;
        if (context == nullptr || platform->name(context, which, text) != 0) {
            logFailureOf(function, {"CertNameToStr failed."});
            return codeReadFailed;
        }
        name = std::move(text);
        return 0;
    });
}

} // namespace

int WinCertStoreCertificate::GetSubjectName(std::string& name) const noexcept {
    return readName(m_platform.get(), m_context, CertName::subject, "WinCertStoreCertificate::GetSubjectName", name);
}

int WinCertStoreCertificate::GetIssuerName(std::string& name) const noexcept {
    return readName(m_platform.get(), m_context, CertName::issuer, "WinCertStoreCertificate::GetIssuerName", name);
}

int WinCertStoreCertificate::GetFingerprint(std::string& fingerprint) const noexcept {
    constexpr const char* function = "WinCertStoreCertificate::GetFingerprint";
    return withoutThrowing(function, codeNoFingerprint, [&]() -> int {
        uint32_t length = 0;
        uint32_t error = m_context != nullptr ? m_platform->property(m_context, certSha1HashProperty, nullptr, length)
                                              : windowsInvalidParameter;
        if (error != 0) {
            logWindowsErrorOf(function, {"Unable to get certificate fingerprint length."}, error);
            return codeNoFingerprint;
        }
        std::vector<unsigned char> digest(length);
        error = m_platform->property(m_context, certSha1HashProperty, digest.data(), length);
        if (error != 0) {
            logWindowsErrorOf(function, {"Unable to get certificate fingerprint."}, error);
            return codeNoFingerprint;
        }
        fingerprint = CmnApi::binToHex(std::string(digest.begin(), digest.begin() + length));
        return 0;
    });
}

X509* WinCertStoreCertificate::GetX509() const noexcept {
    const EncodedCertificate encoded = m_context != nullptr ? m_platform->encoded(m_context) : EncodedCertificate{};
    const unsigned char* der = encoded.data;
    X509* certificate = nullptr;
    if (der != nullptr && encoded.length <= static_cast<size_t>(LONG_MAX)) {
        certificate = d2i_X509(nullptr, &der, static_cast<long>(encoded.length));
    }
    if (certificate == nullptr) {
        putStoreError(173, 13, "WinCertStoreCertificate::GetX509", "WinCertStoreCertificate", __LINE__);
        WinCertStoreOpenSSLHelper::qx_log_openssl_error("WinCertStoreCertificate::GetX509");
    }
    return certificate;
}

int WinCertStoreCertificate::IsKeyRSA() const noexcept {
    const OpenSslPtr<X509> certificate(GetX509());
    if (!certificate) {
        logFailureOf("WinCertStoreCertificate::IsKeyRSA", {"GetX509 failed."});
        return 0;
    }
    const EVP_PKEY* const key = X509_get0_pubkey(certificate.get());
    return key != nullptr && EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA ? 1 : 0;
}

std::string WinCertStoreCertificate::GetKeyAlgo() const noexcept {
    return withoutThrowing("WinCertStoreCertificate::GetKeyAlgo", std::string(), [&] {
        return m_context != nullptr ? m_platform->publicKeyAlgorithm(m_context) : std::string();
    });
}

int WinCertStoreCertificate::ValidateAlgo() const noexcept {
    constexpr const char* function = "WinCertStoreCertificate::ValidateAlgo";
    const OpenSslPtr<X509> certificate(GetX509());
    if (!certificate) {
        logFailureOf(function, {"GetX509 failed."});
        return codeSignatureRefused;
    }
    try {
        X509Certificate(certificate.get(), false).validateAlgorithm();
        return 0;
    } catch (const std::exception&) { // a refusal, or memory that is short
        logFailureOf(function, {"Signing algorithm validation failed."});
        return codeSignatureRefused;
    }
}

int WinCertStoreCertificate::IsValid() const noexcept {
    constexpr const char* function = "WinCertStoreCertificate::IsValid";
    if (m_context == nullptr) {
        return codeInvalidArgument;
    }
    const int position = m_platform->verifyTimeValidity(m_context, now());
    if (position > 0) {
        traceOf(function, {"Certificate is expired."});
        return codeCertificateExpired;
    }
    if (position < 0) {
        traceOf(function, {"Certificate is not yet valid."});
        return codeNotYetValid;
    }
    return 0;
}

int WinCertStoreCertificate::DoesPrivateKeyExist() const noexcept {
    constexpr const char* function = "WinCertStoreCertificate::DoesPrivateKeyExist";
    uint32_t keySpec = 0;
    uint32_t length = sizeof keySpec;
    const uint32_t error = m_context != nullptr ? m_platform->property(m_context, certKeySpecProperty, &keySpec, length)
                                                : windowsInvalidParameter;
    if (error != 0) {
        traceWindowsErrorOf(function, {"Private key doesn't exist for certificate."}, error);
        return 0;
    }
    traceOf(function, {"Private key exists for certificate."});
    return 1;
}

int WinCertStoreCertificate::AddToStore(CertStoreHandle store, uint32_t disposition) const noexcept {
    if (m_context == nullptr || store == nullptr) {
        return 0;
    }
    return m_platform->addToStore(store, m_context, disposition) == 0 ? 1 : 0;
}

} // namespace CmnCrypto::WinCertStore
