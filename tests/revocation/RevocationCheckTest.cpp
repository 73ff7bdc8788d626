// The decision whether a certificate is revoked: its order, and that every look-up answers as OpenSSL does.

#include <deque>
#include <random>
#include <set>

#include <openssl/err.h>

#include "revocation/ListLog.h"
#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

X509* numbered(const std::string& serial) {
    const auto change = [&](X509* made) { X509_set_serialNumber(made, serialFrom(serial).get()); };
    return makeCertificate("P-256", change).release();
}

Crl crlOf(const std::string& entries, const std::string& key = "P-256", const std::string& changes = "",
          const std::string& lastUpdate = "-60", const std::string& nextUpdate = "+3600") {
    const auto change = [&](X509_CRL* list) {
        revoke(list, entries);
        if (changes == "v1") {
            X509_CRL_set_version(list, X509_CRL_VERSION_1);
        } else if (changes == "delta") {
            X509_CRL_add_ext(list, makeExtension(NID_delta_crl, fromHex("020101")).get(), -1);
        } else if (changes == "other") {
            X509_CRL_set_issuer_name(list, nameFrom("CN=other").get());
        } else if (!changes.empty()) {
            X509_REVOKED* const entry = sk_X509_REVOKED_value(X509_CRL_get_REVOKED(list), 0);
            X509_REVOKED_set_revocationDate(entry, timeFrom(changes.substr(changes.find('=') + 1)).get());
        }
    };
    return Crl(makeList(key, change, lastUpdate, nextUpdate).get());
}

/** The status, or what is thrown, and what stands in the RevokeInfo then: "-" when it was left as it was. */
std::string decided(const Crl& crl, X509CertChain* bundle, X509Certificate* certificate, unsigned int maxAge = 86400,
                    bool withInfo = true) {
    char before[] = "-";
    RevokeInfo info{before, 77, 88};
    int status = 99;
    const std::string failure = thrown([&] {
        status = crl.checkCertRevokeStatus(bundle, maxAge, certificate, withInfo ? &info : nullptr);
        EXPECT_EQ(ERR_peek_error(), 0u);
    });
    std::string text = (failure.empty() ? std::to_string(status) : failure) + " " + info.serialNumber;
    if (info.serialNumber != before || info.revocationTime != 77 || info.reason != 88) {
        text += " " + std::to_string(info.revocationTime) + " " + std::to_string(info.reason);
        delete[] info.serialNumber;
    }
    std::replace(text.begin(), text.end(), ' ', '_');
    return text;
}

TEST(RevocationCheck, Outcomes) {
    for (const auto& row : readRows("revocation-checks.txt")) {
        X509CertChain bundle(pemOf(row[0]), INIT_TYPE_BLOB);
        X509Certificate certificate(numbered(row[6]), true);
        const Crl crl = crlOf(row[7], row[1], row[2], row[3], row[4]);
        const auto maxAge = static_cast<unsigned int>(std::stoul(row[5]));
        EXPECT_EQ(decided(crl, &bundle, &certificate, maxAge), row[8]) << testing::PrintToString(row);
    }
}

const std::string noMatch = "1_No_matching_signing_authority_found_in_ca_bundle_for_CRL_-";

TEST(RevocationCheck, EarlierStepWins) {
    captureLog();
    const std::string outcomes[] = {"5_Failed_to_find_correct_arguments_-",
                                    "1_Certificate_Revocation_List_provided_is_invalid._Delta_CRLs_are_not_supported_-",
                                    noMatch,
                                    "4_-",
                                    "3_0x05_1000000000_4",
                                    "0_-"};
    X509Certificate certificate(numbered("5"), true);
    X509CertChain bundle(pemOf("cert:P-256"), INIT_TYPE_BLOB);
    for (unsigned int faults = 0; faults < 32; ++faults) { // every set of them
        const auto has = [&](unsigned int bit) { return (faults >> bit & 1U) != 0; };
        const std::string wrongKey = has(4) ? "RSA-2048" : "P-384";
        const Crl crl = crlOf(has(4) ? "5:0a0104" : "6", has(2) ? wrongKey : "P-256", has(1) ? "delta" : "",
                              has(3) ? "-100000" : "-60");
        unsigned int first = 0;
        while (first < 5 && !has(first)) {
            ++first;
        }
        for (int missing = has(0) ? 0 : 3; missing < (has(0) ? 3 : 4); ++missing) {
            takeLog();
            queueHostError();
            EXPECT_EQ(decided(crl, missing == 0 ? nullptr : &bundle, missing == 1 ? nullptr : &certificate, 86400,
                              missing != 2),
                      outcomes[first]);
            EXPECT_TRUE(loggedAs(first == 2 && has(4) ? "other-kind-of-key" : outcomes[first])) << faults;
        }
    }
}

TEST(RevocationCheck, WithoutContent) {
    captureLog();
    X509Certificate certificate(numbered("5"), true);
    X509Certificate none(nullptr, false);
    X509CertChain empty;
    X509CertChain bundle(pemOf("cert:P-256"), INIT_TYPE_BLOB);
    Crl crl = crlOf("5");
    takeLog();
    EXPECT_EQ(decided(crl, &empty, &certificate), noMatch);
    EXPECT_TRUE(loggedAs("empty-bundle"));
    EXPECT_EQ(decided(Crl(), &bundle, &certificate), noMatch);
    EXPECT_EQ(decided(crl, &bundle, &none), "1_Unable_to_get_serial_number_from_cert_-");
    BinaryData encoding = crl.getDerCrl();
    const std::string issuer = "host";
    for (const auto at :
         {encoding.end() - 1, std::search(encoding.begin(), encoding.end(), issuer.begin(), issuer.end())}) {
        *at ^= 1;
        EXPECT_EQ(crl.setDerCrl(encoding), 0);
        EXPECT_EQ(decided(crl, &bundle, &certificate), noMatch);
        *at ^= 1;
    }
}

/** What must be decided, by OpenSSL's own look-up in a fresh copy of the list. */
std::string expectedFor(const Crl& crl, X509* certificate) {
    const Crl fresh(crl.getDerCrl());
    X509_REVOKED* entry = nullptr;
    if (X509_CRL_get0_by_serial(fresh.getX509Crl(), &entry, X509_get_serialNumber(certificate)) != 1) {
        return "0_-";
    }
    const Owned<ASN1_ENUMERATED> reason(
        static_cast<ASN1_ENUMERATED*>(X509_REVOKED_get_ext_d2i(entry, NID_crl_reason, nullptr, nullptr)));
    const Owned<ASN1_TIME> epoch(ASN1_TIME_set(nullptr, 0));
    int days = 0;
    int seconds = 0;
    ASN1_TIME_diff(&days, &seconds, epoch.get(), X509_REVOKED_get0_revocationDate(entry));
    return "3_0x" + CrlUtil::getCertSerialNumberInHex(certificate) + "_" +
           std::to_string(days * int64_t{86400} + seconds) + "_" +
           std::to_string(reason ? static_cast<int>(ASN1_ENUMERATED_get(reason.get())) : -1);
}

/** The entries with the first of each serial number only: which one OpenSSL takes of several follows from its sorting.
 */
std::string withoutRepeats(const std::string& entries) {
    std::set<long> seen;
    std::string left;
    for (const std::string& entry : pieces(entries, '+')) {
        left += entry.empty() || !seen.insert(std::strtol(entry.c_str(), nullptr, 16)).second ? "" : entry + "+";
    }
    return left;
}

/** Asks of objects in every state: not searched yet, searched, copied, set again, and sorted by the host. */
void checkLookups(const std::string& entries, X509CertChain& bundle, std::deque<X509Certificate>& certificates) {
    const Crl crl = crlOf(sortsStably ? entries : withoutRepeats(entries));
    for (X509Certificate& certificate : certificates) {
        const std::string expected = expectedFor(crl, certificate.getX509());
        const auto check = [&](const Crl& asked, int times) {
            while (times-- > 0) {
                EXPECT_EQ(decided(asked, &bundle, &certificate), expected) << entries << times;
            }
        };
        Crl asked(crl);
        check(asked, 3);
        Crl sorted(crl);
        X509_REVOKED* entry = nullptr;
        X509_CRL_get0_by_serial(sorted.getX509Crl(), &entry, serialFrom("1").get());
        check(Crl(sorted), 1);
        check(sorted, 2);
        asked.setX509Crl(sorted.getX509Crl());
        check(asked, 2);
    }
}

TEST(RevocationCheck, LookupsAgreeWithOpenSsl) {
    X509CertChain bundle(pemOf("cert:P-256"), INIT_TYPE_BLOB);
    std::deque<X509Certificate> certificates;
    for (const char* serial : {"5", "-5", "0", "80", "7FAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"}) {
        certificates.emplace_back(numbered(serial), true);
    }
    for (const auto& row : readRows("revocation-lists.txt")) {
        checkLookups(row[0], bundle, certificates);
    }
    std::mt19937 random(1);
    const char* const reasons[] = {"", "", "", ":0a0101", ":0a0106", ":0a0108", ":ff"};
    const char* const issuers[] = {"", "", "", "", "@host", "@other"};
    for (int round = 0; round < 60; ++round) {
        std::string entries;
        for (size_t left = random() % 30; left > 0; --left) {
            entries += (random() % 5 == 0 ? "-" : "") + std::to_string(random() % 8) +
                       reasons[random() % (round % 3 == 0 ? 1 : 7)] + issuers[random() % (round % 3 == 2 ? 6 : 1)] +
                       "+";
        }
        checkLookups(entries, bundle, certificates);
    }
}

} // namespace
