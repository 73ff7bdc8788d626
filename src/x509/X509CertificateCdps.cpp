// The CRL distribution points of a certificate (RFC 5280, 4.2.1.13).

#include <algorithm>
#include <cctype>
#include <cstring>

#include "cmncrypto/X509Certificate.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

/** @return whether @p text begins with @p prefix, which is in lower case, in any case */
bool beginsWith(const std::string& text, const char* prefix) {
    const size_t length = std::strlen(prefix);
    return text.size() >= length && std::equal(prefix, prefix + length, text.begin(), [](char wanted, char found) {
               return wanted == std::tolower(static_cast<unsigned char>(found));
           });
}

/** @return the URI of a general name; null for any other kind */
const ASN1_STRING* uriOf(const GENERAL_NAME* name) {
    return name != nullptr && name->type == GEN_URI ? name->d.uniformResourceIdentifier : nullptr;
}

/**
 * @return whether the list of distribution point @p number comes from the issuer of the certificate, whose name is
 *         @p issuer
 */
bool isListOfIssuer(const DIST_POINT& point, int number, const X509_NAME* issuer, const char* function) {
    if (point.CRLissuer == nullptr) {
        clogmsg(logInfo, function, "CDP[%d] - CRLissuer not found, CRL issuer is same as cert issuer", number);
        return true;
    }
    if (X509Certificate::isMatchingX509NameExists(point.CRLissuer, X509Name(issuer))) {
        return true;
    }
    clogmsg(logInfo, function, "CDP[%d] - CRL issuer is different than cert issuer, skipping CDP", number);
    return false;
}

} // namespace

STACK_OF(DIST_POINT)* X509Certificate::getCertCdps() {
    constexpr const char* function = "X509Certificate::getCertCdps";
    const ossl::ErrorScope errors;
    if (m_cdps != nullptr) {
        clogmsg(logInfo, function, "Returning already extracted cRLDistributionPoints of cert");
        return m_cdps;
    }
    if (m_certificate != nullptr) {
        m_cdps = static_cast<STACK_OF(DIST_POINT)*>(
            X509_get_ext_d2i(m_certificate, NID_crl_distribution_points, nullptr, nullptr));
    }
    if (m_cdps == nullptr) {
        clogmsg(logInfo, function, "cRLDistributionPoints extension NOT found in cert");
    }
    return m_cdps;
}

int X509Certificate::getCdpsCount() {
    constexpr const char* function = "X509Certificate::getCdpsCount";
    const STACK_OF(DIST_POINT)* const points = getCertCdps();
    if (points == nullptr) {
        clogmsg(logFailure, function, "cRLDistributionPoints not found");
        return 0;
    }
    const int count = sk_DIST_POINT_num(points);
    clogmsg(logInfo, function, "cRLDistributionPoints count is: %d", count);
    return count;
}

std::vector<std::string> X509Certificate::getHttpURLsFromCertCDPs(const std::bitset<9>& reasons) {
    constexpr const char* function = "X509Certificate::getHttpURLsFromCertCDPs";
    std::vector<std::string> urls;
    const STACK_OF(DIST_POINT)* const points = getCertCdps();
    if (points == nullptr) {
        return urls;
    }
    const X509_NAME* const issuer = X509_get_issuer_name(m_certificate);
    for (int i = 0; i < sk_DIST_POINT_num(points); ++i) {
        clogmsg(logInfo, function, "CDP[%d] - Started processing", i);
        DIST_POINT* point = sk_DIST_POINT_value(points, i);
        if (point == nullptr) {
            clogmsg(logFailure, function, "CDP[%d] - failed to get DIST_POINT from cRLDistributionPoints", i);
            continue;
        }
        if (!processReasons(reasons, point) || !isListOfIssuer(*point, i, issuer, function)) {
            continue;
        }
        if (point->distpoint == nullptr) {
            clogmsg(logInfo, function, "CDP[%d] - DIST_POINT_NAME not found, skipping CDP", i);
            continue;
        }
        for (std::string& url : getHttpURLsFromDistPointName(point->distpoint)) {
            urls.push_back(std::move(url));
        }
    }
    return urls;
}

std::vector<std::string> X509Certificate::getHttpURLsFromDistPointName(const DIST_POINT_NAME* name) {
    constexpr const char* function = "X509Certificate::getHttpURLsFromDistPointName";
    constexpr int fullName = 0;
    std::vector<std::string> urls;
    if (name == nullptr || name->type != fullName) {
        clogmsg(logInfo, function, "Input distpoint is not of type fullname");
        return urls;
    }
    const GENERAL_NAMES* const names = name->name.fullname;
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
        const ASN1_STRING* uri = uriOf(sk_GENERAL_NAME_value(names, i));
        if (uri == nullptr) {
            continue;
        }
        const auto* data = reinterpret_cast<const char*>(ASN1_STRING_get0_data(uri));
        std::string text(data, static_cast<size_t>(ASN1_STRING_length(uri)));
        const bool http = beginsWith(text, "http://") || beginsWith(text, "https://");
        if (http && text.find('\0') == std::string::npos) { // which hosts would take for the end of the URL
            urls.push_back(std::move(text));
        } else {
            clogmsg(logInfo, function, "URI:[%s] extracted from GENERAL_NAME[%d] is not HTTP or HTTPS URI, skipping",
                    text.c_str(), i);
        }
    }
    return urls;
}

bool X509Certificate::processReasons(const std::bitset<9>& reasons, DIST_POINT*& point) {
    constexpr const char* function = "X509Certificate::processReasons";
    if (point == nullptr) {
        return false;
    }
    if (point->reasons == nullptr) {
        clogmsg(logInfo, function, "CRL reasons not found, CDP covering all reasons");
        return true;
    }
    std::bitset<9> covered;
    for (size_t bit = 0; bit < covered.size(); ++bit) {
        covered.set(bit, ASN1_BIT_STRING_get_bit(point->reasons, static_cast<int>(bit)) == 1);
    }
    if ((covered & reasons) != reasons) {
        clogmsg(logInfo, function, "CDP doesn't cover all requested reasons, skipping CDP");
        return false;
    }
    return true;
}

bool X509Certificate::isMatchingX509NameExists(const GENERAL_NAMES* names, const X509Name& name) {
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) { // -1 of null
        const GENERAL_NAME* entry = sk_GENERAL_NAME_value(names, i);
        if (entry != nullptr && entry->type == GEN_DIRNAME && name == entry->d.directoryName) {
            return true;
        }
    }
    return false;
}

int X509Certificate::validateCDPsURLs() {
    constexpr const char* function = "X509Certificate::validateCDPsURLs";
    std::bitset<9> everyReason;
    everyReason.set();
    bool found = !getHttpURLsFromCertCDPs(everyReason).empty();
    if (!found) {
        clogmsg(logWarning, function, "No URLs found which are covering all reasons");
        if (getCdpsCount() == 1) {
            clogmsg(logInfo, function, "cdps_count = 1, getting URLs covering any reason");
            found = !getHttpURLsFromCertCDPs({}).empty();
        }
    }
    if (!found) {
        clogmsg(logFailure, function, "URLs not found");
        return codeNoUrls;
    }
    return 0;
}

} // namespace CmnCrypto
