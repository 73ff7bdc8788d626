/** @file
 * Choosing among several certificates that would all serve.
 */
#ifndef CMNCRYPTO_CERTIFICATEFILTER_H
#define CMNCRYPTO_CERTIFICATEFILTER_H

#include <list>

#include "cmncrypto/WinCertStoreCertificate.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** Base of filters, also of hosts' own. */
class CMNCRYPTO_API CertificateFilter {
public:
    CertificateFilter() = default;
    CertificateFilter(const CertificateFilter&) = default;
    CertificateFilter& operator=(const CertificateFilter&) = default;
    virtual ~CertificateFilter();

    /**
     * Narrows a list of certificates. It must not throw.
     * @param out receives certificates of @p in, the first of which is chosen
     * @return 0, or a product status code
     */
    virtual int Filter(const std::list<WinCertStoreCertificate>& in, std::list<WinCertStoreCertificate>& out) = 0;
};

} // namespace CmnCrypto::WinCertStore

#endif
