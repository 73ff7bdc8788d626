#include "cmncrypto/VerifyCertChain.h"

#include <string>

#include "libwincertstore/PlatformFailure.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* verifyTag = "verify_certchain";

} // namespace

WinCertStoreError verify_certchain(const WinCertStoreCertificate& certificate, const CertChainPolicy& policy) noexcept {
    return withoutThrowing(verifyTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        if (certificate.GetContext() == nullptr) {
            logFailureOf(verifyTag, {"There is no certificate."});
            return WIN_CERT_STORE_NOT_FOUND;
        }
        const std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
        const uint32_t error = platform->verifyChain(certificate.GetContext(), policy);
        if (error == 0) {
            return WIN_CERT_STORE_OK;
        }
        std::string subject;
        certificate.GetSubjectName(subject);
        return platformFailure(verifyTag, {"The chain of the certificate [", subject, "] does not hold"}, *platform,
                               error, WIN_CERT_STORE_CHAIN_NOT_VERIFIED);
    });
}

WinCertStoreOpenSSLHelper::Validator certchain_validator(const CertChainPolicy& policy) {
    return [policy](const WinCertStoreCertificate& certificate) { return verify_certchain(certificate, policy); };
}

} // namespace CmnCrypto::WinCertStore
