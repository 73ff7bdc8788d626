#include <sstream>

#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

std::vector<std::string> split(const std::string& text, char by) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, by);) {
        parts.push_back(part);
    }
    return parts;
}

std::string namesFrom(int tag, const std::string& text) {
    std::string names;
    for (const std::string& name : split(text, ',')) {
        names += name.rfind("dir:", 0) == 0   ? tlv(0xa4, der(nameFrom("CN=" + name.substr(4)).get()))
                 : name.rfind("dns:", 0) == 0 ? tlv(0x82, name.substr(4))
                                              : tlv(0x86, unescaped(name));
    }
    return names.empty() ? "" : tlv(tag, names);
}

/** A certificate with the points of a text in the notation of distribution-points.txt. */
std::unique_ptr<X509Certificate> withPoints(const std::string& text) {
    std::string points;
    for (const std::string& point : split(text, '&')) {
        std::vector<std::string> parts = split(point, ';');
        parts.resize(3);
        const std::string names = namesFrom(0xa0, parts[0]);
        const std::string name = parts[0] == "relative" ? tlv(0xa1, fromHex("30080603550403") + tlv(12, "x")) : names;
        points += tlv(0x30, (name.empty() ? "" : tlv(0xa0, name)) +
                                (parts[1].empty() ? "" : tlv(0x81, fromHex(parts[1]))) + namesFrom(0xa2, parts[2]));
    }
    auto made = makeCertificate({{NID_crl_distribution_points, text == "malformed" ? text : tlv(0x30, points)}});
    return std::make_unique<X509Certificate>(made.release(), true);
}

TEST(DistributionPoints, Urls) {
    for (const auto& row : readRows("distribution-points.txt")) {
        const auto certificate = withPoints(row[0]);
        const std::bitset<9> reasons[] = {0, 2, 256, 511};
        for (size_t at = 0; at < 4; ++at) {
            EXPECT_EQ(certificate->getHttpURLsFromCertCDPs(reasons[at]), split(unescaped(row[at + 1]), ','))
                << row[0] << at;
        }
        EXPECT_EQ(std::to_string(certificate->validateCDPsURLs()), row[5]) << row[0];
    }
    std::string thousand;
    for (int i = 0; i < 1000; ++i) {
        thousand += "&http://a;;";
    }
    EXPECT_EQ(withPoints(thousand.substr(1))->getHttpURLsFromCertCDPs(511).size(), 1000u);
    DIST_POINT* missing = nullptr;
    EXPECT_FALSE(X509Certificate::processReasons(0, missing));
    EXPECT_TRUE(X509Certificate::getHttpURLsFromDistPointName(nullptr).empty());
    EXPECT_FALSE(X509Certificate::isMatchingX509NameExists(nullptr, X509Name()));
}

TEST(DistributionPoints, LogTexts) {
    captureLog();
    const std::string tag = "2 - X509Certificate::";
    const std::string urls = tag + "getHttpURLsFromCertCDPs: CDP[#] - ";
    const std::string same = urls + "CRLissuer not found, CRL issuer is same as cert issuer";
    const std::string names = tag + "getHttpURLsFromDistPointName: ";
    const std::string reasons = tag + "processReasons: ";
    const std::string validate = " - X509Certificate::validateCDPsURLs: ";
    for (const auto& [points, prefix, expected] :
         std::vector<std::tuple<std::string, std::string, std::vector<std::string>>>{
             {";;&http://a;;dir:x&http://a;;",
              urls,
              {urls + "Started processing", same, urls + "DIST_POINT_NAME not found, skipping CDP",
               urls + "Started processing", urls + "CRL issuer is different than cert issuer, skipping CDP",
               urls + "Started processing", same}},
             {"http://a;;", reasons, {reasons + "CRL reasons not found, CDP covering all reasons"}},
             {"http://a;00;", reasons, {reasons + "CDP doesn't cover all requested reasons, skipping CDP"}},
             {"relative", names, {names + "Input distpoint is not of type fullname"}},
             {"http://b,ldap://a/%25n;;",
              names,
              {names + "URI:[ldap://a/%n] extracted from GENERAL_NAME[1] is not HTTP or HTTPS URI, skipping"}}}) {
        const auto certificate = withPoints(points);
        takeLog();
        certificate->getHttpURLsFromCertCDPs(2);
        EXPECT_TRUE(logged(prefix, expected)) << points;
    }
    withPoints("ldap://a;;")->validateCDPsURLs();
    EXPECT_TRUE(logged("*" + validate, {"8" + validate + "No URLs found which are covering all reasons",
                                        "2" + validate + "cdps_count = 1, getting URLs covering any reason",
                                        "16" + validate + "URLs not found"}));
}

TEST(DistributionPoints, KeptByTheObject) {
    captureLog();
    const std::string tag = "2 - X509Certificate::getC";
    const std::string kept = tag + "ertCdps: Returning already extracted cRLDistributionPoints of cert";
    const auto owner = withPoints("http://a;;&http://b;;");
    X509Certificate borrower(owner->getX509(), false);
    for (X509Certificate* certificate : {owner.get(), &borrower}) {
        takeLog();
        const STACK_OF(DIST_POINT)* const points = certificate->getCertCdps();
        EXPECT_EQ(sk_DIST_POINT_num(points), 2);
        EXPECT_EQ(certificate->getCertCdps(), points);
        EXPECT_EQ(certificate->getCdpsCount(), 2);
        EXPECT_TRUE(logged(tag, {kept, kept, tag + "dpsCount: cRLDistributionPoints count is: 2"}));
    }
    CRL_DIST_POINTS_free(borrower.getCertCdps()); // a borrower leaves them to its caller
    X509Certificate without(makeCertificate().release(), true);
    fails("X509Certificate::getCertCdps", {{[&] { EXPECT_EQ(without.getCertCdps(), nullptr); }, ""}});
    fails("X509Certificate::getCdpsCount",
          {{[&] { EXPECT_EQ(without.getCdpsCount(), 0); }, "", {"cRLDistributionPoints not found"}}});
    without.getCertCdps();
    EXPECT_TRUE(logged({tag + "ertCdps: cRLDistributionPoints extension NOT found in cert"}));
    EXPECT_EQ(without.validateCDPsURLs(), 9323);
}

} // namespace
