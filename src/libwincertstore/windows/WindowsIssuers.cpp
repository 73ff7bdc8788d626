// The issuers of a certificate, out of the machine's stores.

#include <memory>

#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

namespace CmnCrypto::WinCertStore {

namespace {

struct FreeChain {
    void operator()(PCCERT_CHAIN_CONTEXT chain) const noexcept { ::CertFreeCertificateChain(chain); }
};

} // namespace

uint32_t WindowsCertStore::chain(CertContext context, std::vector<CertContext>& issuers) {
    issuers.clear();
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    PCCERT_CHAIN_CONTEXT found = nullptr;
    // Beside the machine's authorities the certificate's own store counts; nothing is fetched from a network.
    if (::CertGetCertificateChain(HCCE_LOCAL_MACHINE, windowsContext(context), nullptr,
                                  windowsContext(context)->hCertStore, &parameters, CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL,
                                  nullptr, &found) == FALSE) {
        return lastError();
    }
    const std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain> owner(found);
    const CERT_SIMPLE_CHAIN& best = *found->rgpChain[0];
    issuers.reserve(best.cElement);
    for (DWORD index = 1; index < best.cElement; ++index) { // the first is the certificate itself
        issuers.push_back(duplicate(best.rgpElement[index]->pCertContext));
    }
    return 0;
}

} // namespace CmnCrypto::WinCertStore
