// A certificate with the input as its CRL distribution points, asked through both classes.

#include <algorithm>

#include "Harness.h"

using Urls = std::vector<std::string>;

/** Whether @p part is what is left of @p whole after leaving entries out. */
static bool isSelection(const Urls& part, const Urls& whole) {
    auto from = whole.begin();
    return std::all_of(part.begin(), part.end(), [&](const std::string& entry) {
        from = std::find(from, whole.end(), entry);
        return from != whole.end() && from++ != whole.end();
    });
}

void fuzz::tryOut(const std::string& input) {
    const auto x509 = certificateWith({NID_crl_distribution_points}, input);
    const unsigned char* data = bytesOf(input);
    const OpenSslPtr<STACK_OF(DIST_POINT)> points(d2i_CRL_DIST_POINTS(nullptr, &data, static_cast<long>(input.size())));
    noteSslError();
    const int count = points ? sk_DIST_POINT_num(points.get()) : 0;
    X509Certificate certificate(x509.get(), false);
    succeeds([&] {
        require(certificate.getCdpsCount() == count, "as many points as OpenSSL reads");
        Urls before = certificate.getHttpURLsFromCertCDPs({});
        for (unsigned int bits = 0; bits < 1024; bits = 2 * bits + 1) {
            const Urls wanted = certificate.getHttpURLsFromCertCDPs(bits);
            require(isSelection(wanted, before), "each further reason leaves points out");
            before = wanted;
            Urls http{"before"};
            Urls all{"before"};
            unsigned int number = 77;
            const int result = CrlUtil::getHttpURLsFromCertCDPs(x509.get(), bits, number, http);
            require(result == 0 ? number == static_cast<unsigned int>(count) : number == 77 && http == all, "outputs");
            require(CrlUtil::getURLsFromCertCDPs(x509.get(), bits, number, all) == result, "both walks end alike");
            // URLs with a zero byte are cut here and left out there.
            require(result != 0 || (isSelection(wanted, http) && isSelection(http, all)), "each is part of the next");
        }
        require(count == 1 || certificate.validateCDPsURLs() == (before.empty() ? 9323 : 0), "URLs to be used");
    });
    CRL_DIST_POINTS_free(certificate.getCertCdps()); // of a borrowed certificate: the caller's
}
