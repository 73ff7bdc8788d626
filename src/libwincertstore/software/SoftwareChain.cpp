// The issuers of a certificate, out of all stores of a software store.

#include <algorithm>
#include <new>

#include "cmncrypto/SoftwareCertStore.h"
#include "frame/Clock.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/OwnedContext.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr size_t longestChain = 10;

/** Appends the certificates of one store that may have issued others. */
void appendIssuers(SoftwareCertStore& platform, const std::string& storeName, std::vector<ContextPtr>& issuers) {
    const OpenStore store(platform, storeName, true);
    if (store.error() == windowsNotEnoughMemory) {
        throw std::bad_alloc();
    }
    ContextPtr last = owned(platform, store.error() == 0 ? platform.findBySubject(store.get(), "", nullptr) : nullptr);
    while (last) {
        if (X509_check_ca(last->certificate.get()) != 0) {
            issuers.push_back(owned(platform, platform.duplicate(last.get())));
        }
        last = owned(platform, platform.findBySubject(store.get(), "", last.release()));
    }
}

/** Appends what stands beside a certificate in its own file. */
void appendCompanions(SoftwareCertStore& platform, const SoftwareContext& certificate,
                      std::vector<ContextPtr>& issuers) {
    const OpenSslPtr<STACK_OF(X509)> companions = companionsOf(certificate);
    for (int index = 0; index < sk_X509_num(companions.get()); ++index) {
        X509* const companion = sk_X509_value(companions.get(), index);
        X509_up_ref(companion);
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): ReleaseContext counts it down
        if (std::unique_ptr<SoftwareContext> context = makeContext(OpenSslPtr<X509>(companion))) {
            issuers.push_back(owned(platform, context.release()));
        }
    }
}

bool issued(X509* issuer, X509* certificate) {
    return X509_check_issued(issuer, certificate) == X509_V_OK &&
           X509_verify(certificate, X509_get0_pubkey(issuer)) == 1;
}

/** @return how much better than others an issuer is: one that is valid now, and then one that ends the chain */
int rankOf(SoftwareCertStore& platform, const SoftwareContext& issuer) {
    const int valid = platform.verifyTimeValidity(&issuer, now()) == 0 ? 2 : 0;
    return valid + (X509_self_signed(issuer.certificate.get(), 0) == 1 ? 1 : 0);
}

/** @return the best of those who issued a certificate; null when nobody did */
CertContext issuerOf(SoftwareCertStore& platform, const std::vector<ContextPtr>& issuers, X509* certificate) {
    CertContext found = nullptr;
    int bestRank = -1;
    for (const ContextPtr& candidate : issuers) {
        if (issued(candidate->certificate.get(), certificate)) {
            const int rank = rankOf(platform, *candidate);
            found = rank > bestRank ? candidate.get() : found;
            bestRank = std::max(rank, bestRank);
        }
    }
    return found;
}

bool isTaken(const std::vector<CertContext>& chain, X509* certificate) {
    return std::any_of(chain.begin(), chain.end(), [=](CertContext taken) {
        return X509_cmp(softwareContext(taken)->certificate.get(), certificate) == 0;
    });
}

} // namespace

uint32_t SoftwareCertStore::chain(CertContext context, std::vector<CertContext>& issuers) {
    const ossl::ErrorScope errors;
    issuers.clear();
    issuers.reserve(longestChain);
    X509* certificate = softwareContext(context)->certificate.get();
    if (X509_self_signed(certificate, 0) == 1) {
        return 0;
    }
    std::vector<ContextPtr> candidates;
    appendCompanions(*this, *softwareContext(context), candidates);
    for (const std::string& name : storeNames()) {
        appendIssuers(*this, name, candidates);
    }
    while (issuers.size() < longestChain && X509_self_signed(certificate, 0) != 1) {
        const CertContext issuer = issuerOf(*this, candidates, certificate);
        if (issuer == nullptr || isTaken(issuers, softwareContext(issuer)->certificate.get())) {
            break; // authorities that certify each other lead in a circle
        }
        issuers.push_back(duplicate(issuer));
        certificate = softwareContext(issuer)->certificate.get();
    }
    return 0;
}

} // namespace CmnCrypto::WinCertStore
