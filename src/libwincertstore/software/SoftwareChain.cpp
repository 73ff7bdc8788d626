// The issuers of a certificate, out of all stores of a software store.

#include <memory>

#include "cmncrypto/SoftwareCertStore.h"
#include "frame/Clock.h"
#include "libwincertstore/software/SoftwareContext.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr size_t longestChain = 10;

/** Releases a context when it goes out of use. */
struct ReleaseContext {
    CertStorePlatform* platform;
    void operator()(SoftwareContext* context) const { platform->release(context); }
};
using ContextPtr = std::unique_ptr<SoftwareContext, ReleaseContext>;

/** @return the certificates of one store that may have issued others */
void appendIssuers(SoftwareCertStore& platform, const std::string& storeName, std::vector<ContextPtr>& issuers) {
    CertStoreHandle store = nullptr;
    if (platform.openStore(storeName, true, store) != 0) {
        return;
    }
    for (CertContext context = platform.findBySubject(store, "", nullptr); context != nullptr;
         context = platform.findBySubject(store, "", context)) {
        if (X509_check_ca(softwareContext(context)->certificate.get()) != 0) {
            issuers.emplace_back(softwareContext(platform.duplicate(context)), ReleaseContext{&platform});
        }
    }
    platform.closeStore(store);
}

bool issued(X509* issuer, X509* certificate) {
    return X509_check_issued(issuer, certificate) == X509_V_OK &&
           X509_verify(certificate, X509_get0_pubkey(issuer)) == 1;
}

/** @return who issued a certificate: one that is valid now where there are several; null when nobody did */
CertContext issuerOf(SoftwareCertStore& platform, const std::vector<ContextPtr>& issuers, X509* certificate) {
    CertContext found = nullptr;
    for (const ContextPtr& candidate : issuers) {
        if (issued(candidate->certificate.get(), certificate)) {
            if (platform.verifyTimeValidity(candidate.get(), now()) == 0) {
                return candidate.get();
            }
            found = found == nullptr ? candidate.get() : found;
        }
    }
    return found;
}

} // namespace

uint32_t SoftwareCertStore::chain(CertContext context, std::vector<CertContext>& issuers) {
    const ossl::ErrorScope errors;
    std::vector<ContextPtr> candidates;
    for (const std::string& name : storeNames()) {
        appendIssuers(*this, name, candidates);
    }
    issuers.clear();
    issuers.reserve(longestChain);
    X509* certificate = softwareContext(context)->certificate.get();
    while (issuers.size() < longestChain && X509_self_signed(certificate, 0) != 1) {
        const CertContext issuer = issuerOf(*this, candidates, certificate);
        if (issuer == nullptr) {
            break;
        }
        issuers.push_back(duplicate(issuer));
        certificate = softwareContext(issuer)->certificate.get();
    }
    return 0;
}

} // namespace CmnCrypto::WinCertStore
