// Whether a chain holds by what the local machine trusts.

#include <memory>
#include <windows.h>

#include "frame/Wide.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

struct ReleaseChain {
    void operator()(const CERT_CHAIN_CONTEXT* chain) const noexcept { ::CertFreeCertificateChain(chain); }
};
using BuiltChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, ReleaseChain>;

/** Builds the chain, issuers being looked for in the machine's stores and in that of the certificate. */
BuiltChain chainOf(PCCERT_CONTEXT context, const CertChainPolicy& policy, uint32_t& error) noexcept {
    char usage[] = szOID_PKIX_KP_SERVER_AUTH;
    char clientUsage[] = szOID_PKIX_KP_CLIENT_AUTH;
    LPSTR usages[] = {policy.server ? usage : clientUsage};
    CERT_CHAIN_PARA parameters = {};
    parameters.cbSize = sizeof parameters;
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
    parameters.RequestedUsage.Usage.rgpszUsageIdentifier = usages;
    // Only who wants lists lets the system fetch something from a network.
    const DWORD flags =
        policy.checkRevocation ? CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT : CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL;
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    const bool built = ::CertGetCertificateChain(HCCE_LOCAL_MACHINE, context, nullptr, context->hCertStore, &parameters,
                                                 flags, nullptr, &chain) != FALSE;
    error = built ? 0 : lastError();
    return BuiltChain(chain);
}

struct TrustError {
    DWORD bits;
    uint32_t error;
};
constexpr TrustError trustErrors[] = {
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, windowsWrongSignature},
    {CERT_TRUST_IS_REVOKED, windowsRevoked},
    {CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_CYCLIC, windowsChaining},
    {CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_EXPLICIT_DISTRUST, windowsUntrustedRoot},
    {CERT_TRUST_IS_NOT_TIME_VALID, windowsExpired},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, windowsWrongUsage},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, windowsBasicConstraints},
};
constexpr TrustError revocationError = {CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION,
                                        windowsRevocationUnknown};

/** @return what was found while the chain was built: not every system's rules look at all of it */
uint32_t foundWrong(const CERT_CHAIN_CONTEXT* chain, bool checkRevocation) noexcept {
    const DWORD status = chain->TrustStatus.dwErrorStatus;
    for (const TrustError& candidate : trustErrors) {
        if ((status & candidate.bits) != 0) {
            return candidate.error;
        }
    }
    return checkRevocation && (status & revocationError.bits) != 0 ? revocationError.error : 0;
}

bool isAddress(const std::string& host) {
    return OpenSslPtr<ASN1_STRING>(a2i_IPADDRESS(host.c_str())) != nullptr;
}

/** @return whether a certificate is for a host, which may be an address */
bool isFor(PCCERT_CONTEXT context, const std::string& host) {
    const unsigned char* position = context->pbCertEncoded;
    const OpenSslPtr<X509> certificate(d2i_X509(nullptr, &position, static_cast<long>(context->cbCertEncoded)));
    return certificate && (X509_check_ip_asc(certificate.get(), host.c_str(), 0) == 1 ||
                           X509_check_host(certificate.get(), host.c_str(), host.size(), 0, nullptr) == 1);
}

/** @return what the rules of TLS make of a chain, and of a server's name unless that is empty */
uint32_t judge(const CERT_CHAIN_CONTEXT* chain, const CertChainPolicy& policy, const std::string& name) {
    std::wstring host = wide(name);
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA tls = {};
    tls.cbSize = sizeof tls;
    tls.dwAuthType = policy.server ? AUTHTYPE_SERVER : AUTHTYPE_CLIENT;
    tls.pwszServerName = host.empty() ? nullptr : host.data();
    CERT_CHAIN_POLICY_PARA parameters = {};
    parameters.cbSize = sizeof parameters;
    parameters.pvExtraPolicyPara = &tls;
    CERT_CHAIN_POLICY_STATUS status = {};
    status.cbSize = sizeof status;
    if (::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &parameters, &status) == FALSE) {
        return lastError();
    }
    return status.dwError != 0 ? status.dwError : foundWrong(chain, policy.checkRevocation);
}

} // namespace

uint32_t WindowsCertStore::verifyChain(CertContext context, const CertChainPolicy& policy) {
    const ossl::ErrorScope errors;
    std::string host = policy.hostName;
    if (host.find('\0') != std::string::npos || (!host.empty() && host.front() == '.')) {
        return windowsWrongHostName; // a dot in front would stand for every name below
    }
    if (!host.empty() && host.back() == '.') {
        host.pop_back(); // it says that the name is complete, and is no part of it
    }
    uint32_t error = 0;
    const BuiltChain chain = chainOf(windowsContext(context), policy, error);
    if (!chain) {
        return error;
    }
    // The system passes over the names of clients, and not every system compares addresses.
    const bool isLeft = !host.empty() && (!policy.server || isAddress(host));
    error = judge(chain.get(), policy, isLeft ? "" : host);
    return error == 0 && isLeft && !isFor(windowsContext(context), host) ? windowsWrongHostName : error;
}

} // namespace CmnCrypto::WinCertStore
