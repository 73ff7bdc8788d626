// From where the revocation lists for a certificate can be fetched (RFC 5280, 4.2.1.13).

#include <algorithm>
#include <iterator>
#include <new>
#include <string>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/Crl.h"
#include "cmncrypto/CrlUtil.h"
#include "frame/AsciiCase.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"

// The formats are literals of this file, each with its one "%d".
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace CmnCrypto;

namespace {

using Reasons = std::bitset<std::size(crlReasonFlagNames)>;

constexpr int walkFailed = -1;
constexpr int longestSkippedUri = 6; ///< URIs of this length or less are nobody's list

/** What tells the two walks apart. */
struct Walk {
    const char* function;
    const char* notCovered;
    const char* urlsFailed;
    int (*urlsOf)(const DIST_POINT_NAME* name, std::vector<std::string>& urls);
};

int failWalk(const char* function, const char* text) {
    clogmsg(logFailure, function, "%s", text);
    return walkFailed;
}

int failAt(const char* function, const char* format, int position) {
    clogmsg(logFailure, function, format, position);
    return walkFailed;
}

Reasons reasonsOf(const DIST_POINT& point, int number, const char* function) {
    Reasons reasons;
    if (point.reasons == nullptr) {
        clogmsg(logInfo, function, "CDP[%d] - CRL reasons not found, CDP covering all reasons", number);
        return reasons.set();
    }
    for (size_t bit = 0; bit < reasons.size(); ++bit) {
        reasons.set(bit, ASN1_BIT_STRING_get_bit(point.reasons, static_cast<int>(bit)) == 1);
    }
    return reasons;
}

/** Puts into @p same whether the lists of a distribution point come from the certificate's issuer. */
int compareIssuer(const DIST_POINT& point, int number, const X509_NAME* issuer, const char* function, bool& same) {
    if (point.CRLissuer == nullptr) {
        clogmsg(logInfo, function, "CDP[%d] - CRLissuer not found, CRL issuer is same as cert issuer", number);
        same = true;
        return 0;
    }
    if (CrlUtil::isMatchingX509NameExists(point.CRLissuer, issuer, same) != 0) {
        return failAt(function, "CDP[%d] - isMatchingX509NameExists() failed", number);
    }
    if (!same) {
        clogmsg(logInfo, function, "CDP[%d] - CRL issuer is different than cert issuer, skipping CDP", number);
    }
    return 0;
}

/** Whether the lists of a distribution point cover every requested reason. */
bool isCovered(const DIST_POINT& point, int number, const Reasons& requested, const Walk& walk) {
    const Reasons reasons = reasonsOf(point, number, walk.function);
    if (isLogged()) {
        clogmsg(logInfo, walk.function, "CDP[%d] - crlReasonsBs = %s", number, requested.to_string().c_str());
        clogmsg(logInfo, walk.function, "CDP[%d] - cdpReasonsBs = %s", number, reasons.to_string().c_str());
    }
    if ((reasons & requested) != requested) {
        clogmsg(logInfo, walk.function, walk.notCovered, number);
        return false;
    }
    return true;
}

/** Appends the URLs of one distribution point, if it serves. */
int visit(const DIST_POINT* point, int number, const X509_NAME* issuer, const Reasons& requested, const Walk& walk,
          std::vector<std::string>& urls) {
    clogmsg(logInfo, walk.function, "CDP[%d] - Started processing", number);
    if (point == nullptr) {
        return failAt(walk.function, "CDP[%d] - failed to get DIST_POINT from cRLDistributionPoints", number);
    }
    bool same = false;
    if (compareIssuer(*point, number, issuer, walk.function, same) != 0) {
        return walkFailed;
    }
    if (!same || !isCovered(*point, number, requested, walk)) {
        return 0;
    }
    if (point->distpoint == nullptr) {
        clogmsg(logInfo, walk.function, "CDP[%d] - DIST_POINT_NAME not found, skipping CDP", number);
        return 0;
    }
    std::vector<std::string> pointUrls;
    if (walk.urlsOf(point->distpoint, pointUrls) != 0) {
        return failAt(walk.function, walk.urlsFailed, number);
    }
    clogmsg(logInfo, walk.function, "CDP[%d] - Finished processing", number);
    urls.insert(urls.end(), std::make_move_iterator(pointUrls.begin()), std::make_move_iterator(pointUrls.end()));
    return 0;
}

int collectUrls(const X509* certificate, const Reasons& requested, unsigned int& count, std::vector<std::string>& urls,
                const Walk& walk) {
    const ossl::ErrorScope errors;
    if (certificate == nullptr) {
        return failWalk(walk.function, "Input cert found null");
    }
    const X509_NAME* const issuer = X509_get_issuer_name(certificate);
    if (issuer == nullptr) {
        return failWalk(walk.function, "Failed to get cert issuer name");
    }
    char issuerText[1024]; // a name that OpenSSL cannot even write is not worth comparing
    if (X509_NAME_oneline(issuer, issuerText, sizeof issuerText) == nullptr) {
        return failWalk(walk.function, "X509_NAME_oneline() failed to get cert issuer name");
    }
    const OpenSslPtr<STACK_OF(DIST_POINT)> points(static_cast<STACK_OF(DIST_POINT)*>(
        X509_get_ext_d2i(certificate, NID_crl_distribution_points, nullptr, nullptr)));
    if (!points) {
        clogmsg(logInfo, walk.function, "cRLDistributionPoints extension NOT found in cert");
        count = 0;
        urls.clear();
        return 0;
    }
    std::vector<std::string> gathered;
    const int number = sk_DIST_POINT_num(points.get());
    for (int i = 0; i < number; ++i) {
        if (visit(sk_DIST_POINT_value(points.get(), i), i, issuer, requested, walk, gathered) != 0) {
            return walkFailed;
        }
    }
    urls = std::move(gathered);
    count = static_cast<unsigned int>(number);
    return 0;
}

int collectUrlsSafely(const X509* certificate, const Reasons& requested, unsigned int& count,
                      std::vector<std::string>& urls, const Walk& walk) noexcept {
    try {
        CmnApi::initOpenssl();
        return collectUrls(certificate, requested, count, urls, walk);
    } catch (const std::bad_alloc&) {
        clogmsg(logFailure, walk.function, "Failed to allocate memory.");
        return codeNoMemory;
    }
}

/** @return the general name at @p position; null, logged, when it or its value cannot be read */
const GENERAL_NAME* nameAt(const STACK_OF(GENERAL_NAME)* names, int position, const char* function) {
    const GENERAL_NAME* const name = sk_GENERAL_NAME_value(names, position);
    int type = 0;
    if (name == nullptr) {
        failAt(function, "Failed to get GENERAL_NAME[%d]", position);
        return nullptr;
    }
    if (GENERAL_NAME_get0_value(name, &type) == nullptr) {
        failAt(function, "Failed to get type for GENERAL_NAME[%d]", position);
        return nullptr;
    }
    return name;
}

bool isHttp(const char* uri) {
    return beginsWithIgnoringCase(uri, "http://") || beginsWithIgnoringCase(uri, "https://");
}

/**
 * Calls @p keep with @p urls, the text, up to its first NUL, and the position of every URI that is long enough. A name
 * relative to the issuer has none, and empties @p urls.
 */
template <class Keep>
int eachUri(const DIST_POINT_NAME* name, const char* function, std::vector<std::string>& urls, Keep&& keep) {
    constexpr int fullName = 0;
    if (name == nullptr) {
        return failWalk(function, "Input distpoint found null");
    }
    if (name->type != fullName) {
        clogmsg(logInfo, function, "Input distpoint is not of type fullname");
        urls.clear();
        return 0;
    }
    const GENERAL_NAMES* const names = name->name.fullname;
    if (names == nullptr) {
        return failWalk(function, "Failed to get distribution point general names");
    }
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
        const GENERAL_NAME* const entry = nameAt(names, i, function);
        if (entry == nullptr) {
            return walkFailed;
        }
        if (entry->type != GEN_URI || ASN1_STRING_length(entry->d.uniformResourceIdentifier) <= longestSkippedUri) {
            continue;
        }
        const unsigned char* const uri = ASN1_STRING_get0_data(entry->d.uniformResourceIdentifier);
        if (uri == nullptr) {
            return failAt(function, "Failed to get URI from GENERAL_NAME[%d]", i);
        }
        keep(urls, reinterpret_cast<const char*>(uri), i);
    }
    return 0;
}

} // namespace

int CrlUtil::isMatchingX509NameExists(const STACK_OF(GENERAL_NAME)* names, const X509_NAME* name, bool& found) {
    constexpr const char* function = "CrlUtil::isMatchingX509NameExists()";
    if (names == nullptr) {
        return failWalk(function, "Input general names found null");
    }
    if (name == nullptr) {
        return failWalk(function, "Input X509_NAME found null");
    }
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
        const GENERAL_NAME* const entry = nameAt(names, i, function);
        if (entry == nullptr) {
            return walkFailed;
        }
        if (entry->type == GEN_DIRNAME && X509_NAME_cmp(entry->d.directoryName, name) == 0) {
            found = true;
            return 0;
        }
    }
    found = false;
    return 0;
}

int CrlUtil::getHttpURLsFromCertCDPs(const X509* certificate, const std::bitset<9>& requested, unsigned int& count,
                                     std::vector<std::string>& urls) {
    // "requestd": hosts search their logs for it.
    return collectUrlsSafely(certificate, requested, count, urls,
                             {"CrlUtil::getHttpURLsFromCertCDPs()",
                              "CDP[%d] - CDP doesn't cover all requestd reasons, skipping CDP",
                              "CDP[%d] - getHttpURLsFromDistPointName() failed", getHttpURLsFromDistPointName});
}

int CrlUtil::getURLsFromCertCDPs(const X509* certificate, const std::bitset<9>& requested, unsigned int& count,
                                 std::vector<std::string>& urls) {
    return collectUrlsSafely(certificate, requested, count, urls,
                             {"CrlUtil::getURLsFromCertCDPs()",
                              "CDP[%d] - CDP doesn't cover all requested reasons, skipping CDP",
                              "CDP[%d] - getURLsFromDistPointName() failed", getURLsFromDistPointName});
}

int CrlUtil::getHttpURLsFromDistPointName(const DIST_POINT_NAME* name, std::vector<std::string>& urls) {
    constexpr const char* function = "CrlUtil::getHttpURLsFromDistPointName()";
    std::vector<std::string> kept;
    const int result =
        eachUri(name, function, kept, [](std::vector<std::string>& gathered, const char* uri, int position) {
            if (isHttp(uri)) {
                gathered.emplace_back(uri);
            } else {
                clogmsg(logInfo, function,
                        "URI:[%s] extracted from GENERAL_NAME[%d] is not HTTP or HTTPS URI, skipping", uri, position);
            }
        });
    if (result == 0) {
        urls = std::move(kept);
    }
    return result;
}

int CrlUtil::getURLsFromDistPointName(const DIST_POINT_NAME* name, std::vector<std::string>& urls) {
    // Appended at once, unlike the other: callers get what came before an unreadable name.
    return eachUri(name, "CrlUtil::getURLsFromDistPointName()", urls,
                   [](std::vector<std::string>& gathered, const char* uri, int) { gathered.emplace_back(uri); });
}
