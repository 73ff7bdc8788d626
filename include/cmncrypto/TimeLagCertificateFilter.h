/** @file
 * Preferring certificates that have been valid for a while.
 */
#ifndef CMNCRYPTO_TIMELAGCERTIFICATEFILTER_H
#define CMNCRYPTO_TIMELAGCERTIFICATEFILTER_H

#include "cmncrypto/CertificateFilter.h"

namespace CmnCrypto::WinCertStore {

/**
 * Chooses the newest certificate that has been valid for some time already, so that peers have had time to learn about
 * a renewed one; where none is that old, the newest of all.
 */
class CMNCRYPTO_API TimeLagCertificateFilter : public CertificateFilter {
public:
    /** @param lagInMinutes times 60 in 32 bits, wrapping: 0 makes every certificate eligible that has started */
    explicit TimeLagCertificateFilter(int lagInMinutes) noexcept;

    /**
     * Of certificates that started at the same second, the last one wins among those that are old enough; else the
     * one that ends later, the first of those that end together.
     * @return 0; 8771 for an empty list, 8770 when nothing was chosen, 36 when memory is short
     */
    int Filter(const std::list<WinCertStoreCertificate>& in, std::list<WinCertStoreCertificate>& out) override;

private:
    int m_lagInMinutes;
};

} // namespace CmnCrypto::WinCertStore

#endif
