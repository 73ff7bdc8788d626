#include "cmncrypto/TimeLagCertificateFilter.h"

#include "frame/Clock.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

CertificateFilter::~CertificateFilter() = default;

TimeLagCertificateFilter::TimeLagCertificateFilter(int lagInMinutes) noexcept : m_lagInMinutes(lagInMinutes) {}

int TimeLagCertificateFilter::Filter(const std::list<WinCertStoreCertificate>& in,
                                     std::list<WinCertStoreCertificate>& out) {
    if (in.empty()) {
        return codeSubjectMismatch;
    }
    // Hosts' lags rely on the product wrapping in 32 bits.
    const auto lagInSeconds = static_cast<int32_t>(static_cast<uint32_t>(m_lagInMinutes) * 60U);
    const int64_t latestStart = static_cast<int64_t>(now()) - lagInSeconds;
    const WinCertStoreCertificate* lagged = nullptr;
    const WinCertStoreCertificate* newest = nullptr;
    for (const WinCertStoreCertificate& certificate : in) {
        if (certificate.GetContext() == nullptr) {
            continue; // nothing to choose
        }
        const int64_t start = certificate.GetStartDate();
        if (start <= latestStart && (lagged == nullptr || start >= lagged->GetStartDate())) {
            lagged = &certificate;
        }
        const bool newer = newest == nullptr || start > newest->GetStartDate();
        const bool lasting =
            !newer && start == newest->GetStartDate() && certificate.GetEndDate() > newest->GetEndDate();
        if (newer || lasting) {
            newest = &certificate;
        }
    }
    const WinCertStoreCertificate* const chosen = lagged != nullptr ? lagged : newest;
    if (chosen == nullptr) {
        return codeNoneChosen;
    }
    return withoutThrowing("TimeLagCertificateFilter::Filter", codeNoMemory, [&] {
        out.push_back(*chosen);
        return 0;
    });
}

} // namespace CmnCrypto::WinCertStore
