// Both walks over a certificate's distribution points.

#include <bitset>

#include <openssl/err.h>

#include "revocation/ListLog.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

const std::pair<std::string, decltype(&CrlUtil::getURLsFromCertCDPs)> walks[] = {
    {"http", CrlUtil::getHttpURLsFromCertCDPs}, {"every", CrlUtil::getURLsFromCertCDPs}};

/** The number of points and the URLs, or the result when there is one and the outputs are as they were. */
std::string walked(decltype(&CrlUtil::getURLsFromCertCDPs) walk, const X509* certificate, unsigned int requested = 0) {
    unsigned int count = 77;
    std::vector<std::string> urls = {"before"};
    queueHostError();
    const int result = walk(certificate, requested, count, urls);
    EXPECT_EQ(ERR_peek_error(), 0u);
    if (result != 0 && count == 77 && urls == std::vector<std::string>{"before"}) {
        return std::to_string(result);
    }
    std::string text;
    for (const std::string& url : urls) {
        text += (text.empty() ? "" : ",") + url;
    }
    return std::to_string(count) + ":" + text;
}

TEST(CrlDistributionPoints, Urls) {
    for (const auto& row : readRows("list-points.txt")) {
        for (size_t at = 0; at < 2; ++at) {
            EXPECT_EQ(walked(walks[at].second, certificateWithPoints(row[0]).get()), row[at + 1]) << row[0];
        }
    }
    const std::string point = tlv(0x30, tlv(0x30, tlv(0xa0, tlv(0xa0, tlv(0x86, "http://a")))));
    const auto twice = makeCertificate({{NID_crl_distribution_points, point}, {NID_crl_distribution_points, point}});
    for (const auto& [name, walk] : walks) {
        EXPECT_EQ(walked(walk, twice.get()), "0:"); // which of them would count?
    }
}

TEST(CrlDistributionPoints, EveryReason) {
    for (const unsigned int covered : {0U, 1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U, 256U, 0xaaU, 0x155U, 0x180U, 0x1ffU}) {
        unsigned int flags = 0x070000; // the number of unused bits, and then the first bit first
        for (unsigned int bit = 0; bit < 9; ++bit) {
            flags |= (covered >> bit & 1U) << (15 - bit);
        }
        char text[16];
        std::snprintf(text, sizeof text, "%06x", flags);
        const auto certificate = certificateWithPoints(std::string("http://a;") + text + ";&http://b;;");
        for (unsigned int requested = 0; requested < 512; ++requested) {
            const std::string expected = (requested & ~covered) == 0 ? "2:http://a,http://b" : "2:http://b";
            for (const auto& [name, walk] : walks) {
                EXPECT_EQ(walked(walk, certificate.get(), requested), expected) << covered << " " << requested;
            }
        }
    }
}

TEST(CrlDistributionPoints, LogAndFailures) {
    captureLog();
    const auto certificate =
        certificateWithPoints("http://a;0640;&http://a;;dir:x&;05a0;dir:host&relative&ldap:x,%25s%25n://;;");
    const Owned<X509> unwritable = certificateWithPoints("http://a;;");
    const Owned<X509> longName = certificateWithPoints("http://a;;");
    X509_set_issuer_name(unwritable.get(), makeName({{"CN", std::string(300000, '\0'), V_ASN1_UTF8STRING}}).get());
    X509_set_issuer_name(longName.get(), makeName({{"CN", std::string(5000, 'x'), V_ASN1_UTF8STRING}}).get());
    for (const auto& [name, walk] : walks) {
        takeLog();
        EXPECT_EQ(walked(walk, certificate.get(), 4), name == "http" ? "5:" : "5:%s%n://");
        EXPECT_TRUE(loggedAs(name));
        EXPECT_EQ(walked(walk, makeCertificate().get()), "0:");
        EXPECT_TRUE(loggedAs(name + "-none"));
        EXPECT_EQ(walked(walk, nullptr), "-1");
        EXPECT_TRUE(loggedAs(name + "-null"));
        EXPECT_EQ(walked(walk, unwritable.get()), "-1");
        EXPECT_TRUE(loggedAs(name + "-name"));
        EXPECT_EQ(walked(walk, longName.get()), "1:http://a");
    }
}

TEST(CrlDistributionPoints, MatchingName) {
    captureLog();
    const Owned<STACK_OF(GENERAL_NAME)> names(sk_GENERAL_NAME_new_null());
    const Owned<X509_NAME> host = nameFrom("CN=host");
    const auto check = [&](const STACK_OF(GENERAL_NAME)* list, X509_NAME* name, int result, bool answer,
                           const std::string& text) {
        for (const bool before : {false, true}) {
            bool found = before;
            takeLog();
            EXPECT_EQ(CrlUtil::isMatchingX509NameExists(list, name, found), result);
            EXPECT_EQ(found, result == 0 ? answer : before) << text;
            const std::string line = "16 - CrlUtil::isMatchingX509NameExists(): " + text;
            EXPECT_TRUE(logged("* - Crl", std::vector<std::string>(result == 0 ? 0 : 1, line)));
        }
    };
    check(nullptr, nullptr, -1, false, "Input general names found null");
    check(names.get(), nullptr, -1, false, "Input X509_NAME found null");
    check(names.get(), host.get(), 0, false, "empty");
    GENERAL_NAME* const dns = GENERAL_NAME_new();
    GENERAL_NAME* const other = GENERAL_NAME_new();
    GENERAL_NAME* const last = GENERAL_NAME_new(); // without a type at first
    GENERAL_NAME_set0_value(dns, GEN_DNS, ASN1_IA5STRING_new());
    GENERAL_NAME_set0_value(other, GEN_DIRNAME, nameFrom("CN=other").release());
    for (GENERAL_NAME* name : {dns, other, static_cast<GENERAL_NAME*>(nullptr)}) {
        sk_GENERAL_NAME_push(names.get(), name);
        check(names.get(), host.get(), name == nullptr ? -1 : 0, false, "Failed to get GENERAL_NAME[2]");
    }
    sk_GENERAL_NAME_set(names.get(), 2, last);
    check(names.get(), host.get(), -1, false, "Failed to get type for GENERAL_NAME[2]");
    GENERAL_NAME_set0_value(last, GEN_DIRNAME, nameFrom("CN=Host ").release()); // equal by the rules for names
    sk_GENERAL_NAME_push(names.get(), nullptr);                                 // nobody looks behind it
    check(names.get(), host.get(), 0, true, "found");
}

TEST(CrlDistributionPoints, ReasonNames) {
    std::string names;
    for (const char* name : crlReasonFlagNames) {
        names += std::string(name) + " ";
    }
    EXPECT_EQ(names,
              "unused keyCompromise cACompromise affiliationChanged superseded cessationOfOperation certificateHold "
              "privilegeWithdrawn aACompromise ");
}

} // namespace
