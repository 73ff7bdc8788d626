#include <filesystem>

#include "libwincertstore/StoreSituations.h"

namespace {

/** Numbered candidates that fail checks as in store-candidates.txt. */
std::vector<FakeCertificate> candidates(const std::vector<std::string>& faults) {
    std::vector<FakeCertificate> made;
    for (const std::string& letters : faults) {
        const auto has = [&](char fault) { return letters.find(fault) != std::string::npos; };
        FakeCertificate& one = made.emplace_back();
        one.der =
            der(makeCertificate(has('k') ? "P-256" : "RSA-1024", {}, has('a') ? EVP_md5() : EVP_sha256(), "RSA-1024")
                    .get());
        one.subject = (has('s') ? "other" : "host") + std::to_string(made.size());
        one.issuer = has('i') ? "somebody" : "authority";
        one.key = has('p') ? std::nullopt : one.key;
        one.usage = {false, {has('S') ? "1.2" : "1.3.6.1.5.5.7.3.1", has('C') ? "1.2" : "1.3.6.1.5.5.7.3.2"}};
        one.position = has('e') ? 1 : has('f') ? -1 : 0;
    }
    return made;
}

struct FolderBench : situations::Bench {
    FolderBench() { setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path(""))); }
    ~FolderBench() override { setCertStorePlatform(nullptr); }
    void make(const std::string& store) override { std::filesystem::create_directory(folder.path(store)); }
    void put(const std::string& store, X509* certificate, bool withKey) override {
        const std::string key = withKey ? pem(keyOf(kindOf(X509_get0_pubkey(certificate)))) : "";
        folder.write(store + "/" + std::to_string(++m_last) + ".pem", pem(certificate) + key);
    }
    void clear() override {
        for (const char* const store : {"MY", "A", "B", "C"}) {
            std::filesystem::remove_all(folder.path(store));
        }
    }
    Folder folder;

private:
    int m_last = 1000; // names in the order of their making
};

TEST(StorePath, Grammar) {
    const auto platform = fakePlatform();
    captureLog();
    const Rows rows = readRows("store-paths.txt");
    for (const auto& row : rows) {
        const std::string path = unescaped(row[0]);
        _win_cert_store_path parsed;
        if (row[0][0] != ':') {
            platform->fail("computerName", row[5] == "h" ? 0xcb : 0);
            EXPECT_EQ(std::to_string(CertificateSelector::SplitCertPath(path, parsed)), row[1]) << path;
            EXPECT_TRUE(logged("# - ", spelled(rows, row[5] == "h" ? "Hh" : row[5], path)));
        }
        if (row[1] == "0") {
            ASSERT_TRUE(parsed.issuer_patterns.size() == 1 && parsed.subject_patterns.size() == 1);
            const NamePattern& issuer = parsed.issuer_patterns.front();
            const NamePattern& subject = parsed.subject_patterns.front();
            EXPECT_TRUE(issuer.exclude == 0 && subject.exclude == 0);
            EXPECT_EQ(parsed.store_name + '\\' + issuer.name + '\\' + subject.name,
                      unescaped(row[2] + '\\' + row[3] + '\\' + row[4]));
        }
    }
    platform->hostNames[0].assign(255, 'h');
    for (const int type : {0, 1, 2, -1}) {
        const std::string& name = platform->hostNames[type == 1 ? 1 : 0];
        platform->takeCalls();
        EXPECT_EQ(CertificateSelector::GetHostName(HostnameType(type)), name);
        EXPECT_TRUE(
            logged("2 v10 Cert*", {"2 v10 CertificateSelector::GetHostName: Hostname of local machine is: " + name}));
        EXPECT_EQ(platform->takeCalls()[0], type == 1 ? "computerName 1 256" : "computerName 0 256");
    }
}

TEST(StorePath, Lists) {
    const auto platform = fakePlatform();
    for (const auto& row : readRows("store-lists.txt")) {
        const CertificateSelector selector(unescaped(row[0]), {});
        EXPECT_EQ(selector.GetCertPath() + std::to_string(selector.CheckCertPresence()), unescaped(row[0]) + row[1]);
        std::vector<std::string> stores(row.begin() + 2, row.end());
        std::transform(stores.begin(), stores.end(), stores.begin(),
                       [](auto& store) { return "openStore " + unescaped(store) + " rw"; });
        EXPECT_EQ(platform->takeCalls(), stores) << row[0];
    }
}

TEST(Selection, ChecksInTheirOrder) {
    const auto platform = fakePlatform();
    captureLog();
    const Rows rows = readRows("store-candidates.txt");
    const std::string path = "MY\\authority\\host";
    for (const auto& row : rows) {
        if (row[0][0] != ':') {
            platform->stores["MY"] = candidates({row[0]});
            platform->clear();
            platform->fail(row[1], 0x80090016);
            takeLog();
            EXPECT_EQ(std::to_string(CertificateSelector(path, {}).CheckCertPresence()), row[2]);
            EXPECT_TRUE(logged(row[2] == "0" ? "2 v10 CertificateS" : "16 - C", spelled(rows, row[3])));
            const std::vector<std::string> calls = platform->takeCalls();
            const bool isSearched =
                calls.size() > 2 && calls[1] == "findBySubject host" && calls.back() == "closeStore MY";
            EXPECT_TRUE(calls[0] == "openStore MY rw" && isSearched == (row[2] != "8772"));
            std::list<CandidateVerdict> verdicts;
            EXPECT_EQ(CertificateSelector(path, {}).Explain(verdicts), row[2] == "8772" ? 8772 : 0);
            EXPECT_TRUE(verdicts.empty() || "asipSCfkx"[static_cast<size_t>(verdicts.front().refusedBy)] == row[4][0]);
            platform->takeCalls();
        }
    }
}

TEST(Selection, SoftwareStore) {
    FolderBench bench;
    situations::checksInTheirOrder(bench);
    situations::choices(bench);
}

TEST(Selection, NamePatterns) {
    const auto platform = fakePlatform();
    for (const auto& row : readRows("store-names.txt")) {
        for (const bool isSubject : {true, false}) {
            const NamePattern pattern{unescaped(row[1]), row[2] == "1" ? 2U : 0U};
            _win_cert_store_path path{"MY", {{" "}}, {{" "}}};
            (isSubject ? path.subject_patterns : path.issuer_patterns).push_back(pattern);
            platform->stores["MY"] = candidates({"x"});
            (isSubject ? platform->stores["MY"][0].subject : platform->stores["MY"][0].issuer) = unescaped(row[0]);
            WinCertStoreCertificate found;
            _selected_win_cert_store_path from;
            const int code = CertificateSelector("", {}).GetCertificate(path, found, from, false);
            const int refused = isSubject ? 8771 : 8767;
            EXPECT_EQ(code, row[isSubject ? 3 : 4] == "1" ? 0 : refused) << row[0] << " and " << row[1];
        }
    }
}

TEST(Selection, ByFingerprint) {
    const auto platform = fakePlatform();
    platform->stores = {{"A", {}}, {"B", {{"", "none"}, {"abc"}}}}; // whose SHA-1 is in FIPS 180
    captureLog();
    const Rows rows = readRows("store-fingerprints.txt");
    for (const auto& row : rows) {
        if (row[0][0] != ':') {
            platform->fail(row[2].substr(0, row[2].find('!')), row[2].find('!') < row[2].size() ? noMemory : 0x57);
            const std::string text = unescaped(row[1]);
            WinCertStoreCertificate found;
            EXPECT_EQ(std::to_string(CertificateSelector(unescaped(row[0]), {}).FindCertInStore(text, found)), row[3]);
            EXPECT_TRUE(logged(spelled(rows, row[4], text)));
            EXPECT_EQ(found.GetContext() != nullptr, row[3] == "0");
            EXPECT_EQ(CertificateSelector::FindCertInStore(nullptr, text, found), 20);
        }
    }
    EXPECT_EQ(platform->takeCalls()[0], "openStore B r");
}

} // namespace
