#include "libwincertstore/StoreSituations.h"

namespace situations {

namespace {

using namespace std::string_literals;
using Certificates = std::list<WinCertStoreCertificate>;

/** Chooses as in store-choices.txt. */
struct Choice : CertificateFilter {
    Choice(WinCertStoreCertificate stranger, std::string how) : own(std::move(stranger)), kind(std::move(how)) {}
    int Filter(const Certificates& in, Certificates& out) override {
        EXPECT_NE(kind, "never");
        out = kind == "nothing" ? Certificates() : Certificates{kind == "foreign" && in.size() == 3 ? own : in.back()};
        return kind == std::to_string(in.size()) ? 77 : 0;
    }
    WinCertStoreCertificate own;
    std::string kind;
};

/** Some stores hold certificates in the order of their digests: candidates come in it, each within a part of its own.
 */
Owned<X509> candidate(const std::string& letters, int position, int part) {
    const auto has = [&](char fault) { return letters.find(fault) != std::string::npos; };
    for (int serial = 1;; ++serial) {
        const auto change = [&](X509* made) {
            const std::string subject = (has('s') ? "CN=other" : "CN=host") + std::to_string(position + 1);
            X509_set_subject_name(made, nameFrom(subject).get());
            X509_set_issuer_name(made, nameFrom(has('i') ? "CN=somebody" : "CN=authority").get());
            X509_gmtime_adj(X509_getm_notBefore(made), has('f') ? 3600 : -7200);
            X509_gmtime_adj(X509_getm_notAfter(made), has('e') ? -3600 : 7200);
            ASN1_INTEGER_set(X509_get_serialNumber(made), serial);
            const auto purpose = [](bool missing, const char* last) {
                return fromHex("06082b060105050703") + fromHex(missing ? "7f" : last);
            };
            const std::string usages = tlv(0x30, purpose(has('S'), "01") + purpose(has('C'), "02"));
            X509_add_ext(made, makeExtension(NID_ext_key_usage, usages).get(), -1);
        };
        Owned<X509> made =
            makeCertificate(has('k') ? "P-256" : "RSA-1024", change, has('a') ? EVP_md5() : EVP_sha256(), "RSA-1024");
        unsigned char digest[EVP_MAX_MD_SIZE];
        X509_digest(made.get(), EVP_sha1(), digest, nullptr);
        if (digest[0] / 32 == part) {
            return made;
        }
    }
}

/** Makes a store of candidates, each given by the checks that it fails as in store-candidates.txt. */
void fill(Bench& bench, const std::string& store, const std::vector<std::string>& faults) {
    bench.make(store);
    for (int i = 0; i < static_cast<int>(faults.size()); ++i) {
        const std::string& letters = faults[static_cast<size_t>(i)];
        const bool withKey = letters.find('p') == std::string::npos;
        bench.put(store, candidate(letters, i, bench.backwards ? 7 - i : i).get(), withKey);
    }
}

/** A certificate in no store. */
WinCertStoreCertificate stranger() {
    const auto change = [](X509* made) { X509_set_subject_name(made, nameFrom("CN=foreign").get()); };
    const std::string encoded = der(makeCertificate("P-256", change).get());
    CertContext context = nullptr;
    EXPECT_EQ(certStorePlatform()->createContext(bytes(encoded), encoded.size(), context), 0U);
    return WinCertStoreCertificate(context, CERT_MEMORY_OWNED, certStorePlatform());
}

} // namespace

void checksInTheirOrder(Bench& bench) {
    for (const auto& row : readRows("store-candidates.txt")) {
        if (row[0][0] != ':' && row[1].empty()) {
            bench.clear();
            fill(bench, "MY", {row[0]});
            const CertificateSelector selector("MY\\authority\\host", {});
            const bool isFound = row[0].find('s') == std::string::npos;
            EXPECT_EQ(std::to_string(selector.CheckCertPresence()), isFound ? row[2] : "8771") << row[0];
            std::list<CandidateVerdict> verdicts;
            EXPECT_EQ(selector.Explain(verdicts), 0);
            EXPECT_TRUE(verdicts.empty() ? !isFound
                                         : "asipSCfkx"[static_cast<size_t>(verdicts.front().refusedBy)] == row[4][0]);
        }
    }
    bench.clear();
}

void choices(Bench& bench) {
    captureLog();
    for (const auto& row : readRows("store-choices.txt")) {
        bench.clear();
        for (const std::string& store : pieces(row[0], ';')) {
            fill(bench, store.substr(0, store.find('=')), pieces(store.substr(store.find('=') + 1), ','));
        }
        std::list<std::shared_ptr<CertificateFilter>> filters;
        for (const std::string& how : row[2].empty() ? std::vector<std::string>() : std::vector{row[2], "never"s}) {
            filters.push_back(std::make_shared<Choice>(stranger(), how));
        }
        WinCertStoreCertificate certificate;
        _selected_win_cert_store_path from;
        std::string subject;
        takeLog();
        const int code = CertificateSelector(row[1], filters).GetCertificate(certificate, from, row[3] == "1");
        EXPECT_EQ(std::to_string(code), row.size() == 5 ? row[4] : "0") << row[0] << row[1];
        EXPECT_EQ(certificate.GetContext() == nullptr || certificate.GetSubjectName(subject) != 0, row.size() == 5);
        EXPECT_TRUE(row.size() == 5 || subject == row[4]) << row[0] << row[1] << subject;
        EXPECT_EQ(from.store_path.store_name, row.size() == 5 ? "" : row[5]);
        EXPECT_EQ(logged("*Filter failed.", {"16 - CertificateSelector::GetCertificate: Filter failed."}),
                  row[4] == "77");
    }
    bench.clear();
}

void namesAndUsages(const Wrap& wrap, const std::map<std::string, std::string>& otherwise) {
    for (const auto& row : readRows("store-rendered.txt")) {
        const Owned<X509_NAME> name = nameFrom(row[0]);
        const auto change = [&](X509* made) { X509_set_issuer_name(made, name.get()); };
        std::string text;
        EXPECT_EQ(wrap(makeCertificate("P-256", change).get()).GetIssuerName(text), 0);
        const auto other = otherwise.find(row[0]);
        EXPECT_EQ(text, other == otherwise.end() ? unescaped(row[1]) : other->second) << row[0];
    }
    for (const auto& row : readRows("store-usages.txt")) {
        const int nid = OBJ_sn2nid(row[0].c_str());
        const WinCertStoreCertificate own = wrap(makeCertificate(std::vector{std::pair{nid, fromHex(row[1])}}).get());
        EXPECT_EQ(std::to_string(own.IsIntendedForServerPurpose()), row[2]) << row[0] << row[1];
        EXPECT_EQ(std::to_string(own.IsIntendedForClientPurpose()), row[3]) << row[0] << row[1];
    }
    EXPECT_EQ(wrap(makeCertificate("RSA-1024").get()).GetKeyAlgo() + wrap(makeCertificate("P-256").get()).GetKeyAlgo(),
              "1.2.840.113549.1.1.11.2.840.10045.2.1");
}

void dates(const Wrap& wrap) {
    const std::pair<const char*, int64_t> rows[] = {
        {"16010101000001Z", -11644473599}, {"691231235959Z", -1},         {"700101000000Z", 0},
        {"231114221320Z", 1700000000},     {"491231235959Z", 2524607999}, {"20500101000000Z", 2524608000},
        {"99991231235959Z", 253402300799}};
    for (const auto& row : rows) {
        const auto change = [&](X509* made) {
            X509_set1_notBefore(made, timeFrom(row.first).get());
            X509_set1_notAfter(made, timeFrom(row.first).get());
        };
        const WinCertStoreCertificate own = wrap(makeCertificate("P-256", change).get());
        EXPECT_TRUE(own.GetStartDate() == row.second && own.GetEndDate() == row.second) << row.first;
        for (const int position : {-1, 0, 1}) {
            EXPECT_EQ(own.GetPlatform()->verifyTimeValidity(own.GetContext(), row.second + position), position);
        }
    }
}

} // namespace situations
