#include <algorithm>
#include <filesystem>
#include <future>
#include <set>

#include <openssl/err.h>

#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

namespace fs = std::filesystem;
using StoreHelper = WinCertStoreHelper;

/** A certificate with its key, or without, and an issuer. The password is "secret". */
std::string bundle(X509* certificate, EVP_PKEY* key, int cipher = 0) {
    const Owned<X509> issuer = makeCertificate("RSA-1032");
    STACK_OF(X509)* const others = sk_X509_new_null();
    sk_X509_push(others, issuer.get());
    const Owned<PKCS12> made(PKCS12_create_ex("secret", nullptr, key, certificate, others, cipher, cipher, 0, 0, 0,
                                              cipher == 0 ? nullptr : legacyContext(), nullptr));
    sk_X509_free(others);
    return written([&](BIO* out) { return i2d_PKCS12_bio(out, made.get()); });
}

/** The input of an import in store-helper.txt. */
std::string contentFrom(const std::string& input, X509* own) {
    return input.find("bundle") == 0       ? bundle(own, keyOf("RSA-1024")) + input.substr(6)
           : input.find("own") == 0        ? pem(own) + pemOf(input.substr(4))
           : input.find("der") == 0        ? der(own) + input.substr(3)
           : input.find(':') == input.npos ? ""
                                           : pemOf(input);
}

TEST(StoreFiles, Failures) {
    const Owned<X509> own = makeCertificate("RSA-1024");
    for (const auto& row : readRows("store-helper.txt")) {
        captureLog();
        const Folder folder;
        const auto platform = fakePlatform();
        platform->stores["MY"] = {{der(own.get())}};
        const std::string in = folder.write("in", contentFrom(row[1], own.get())) + (row[1] == "none" ? "x" : "");
        const std::string out = folder.path(row[1] == "taken" ? "in" : row[1] == "nowhere" ? "no/where" : "out");
        const WinCertStoreCertificate one(
            row[1] == "empty" ? nullptr : platform->context({row[1] == "bad" ? "x" : der(own.get())}));
        WinCertStoreDetails details;
        const std::map<std::string, std::function<int()>> operations = {
            {"import", [&] { return StoreHelper::ImportCertificates(in, "MY"); }},
            {"bundle", [&] { return StoreHelper::ImportPKCS12(in, "secret", "MY", true); }},
            {"pem", [&] { return StoreHelper::ExportCertificate(one, out, CERT_FILE_PEM); }},
            {"der", [&] { return StoreHelper::ExportCertificate(one, out, CERT_FILE_DER); }},
            {"pack", [&] { return StoreHelper::ExportPKCS12(one, out, "secret"); }},
            {"details", [&] { return StoreHelper::GetDetails(one, details); }},
            {"remove", [&] { return StoreHelper::RemoveCertificate(row[1], "MY"); }}};
        const auto error = row[3] == "memory" ? noMemory : static_cast<uint32_t>(std::stoul(row[3], nullptr, 16));
        platform->fail(row[2], error, std::stoi(row[4]));
        const std::string what = row[0] + " " + row[1] + " " + row[2] + " " + row[3];
        EXPECT_EQ(std::to_string(operations.at(row[0])()), row[5]) << what;
        EXPECT_EQ(std::to_string(platform->stores["MY"].size()), row[6]) << what;
        const std::string content = row[5] != "0" || row[0].size() > 4 ? ""
                                    : row[0] == "pem"                  ? pem(own.get())
                                    : row[0] == "pack"                 ? "secret"
                                    : row[1] == "bad"                  ? "x"
                                                                       : der(own.get());
        EXPECT_EQ(fs::exists(folder.path("out")) ? contentOf(folder.path("out")) : "", content) << what;
        EXPECT_EQ(static_cast<bool>(failuresLogged({})), row[5] == "0") << what;
        EXPECT_EQ(ERR_peek_error(), 0U) << what;
    }
}

TEST(StoreFiles, BundlesIntoAFolder) {
    const Owned<X509> own = makeCertificate("RSA-1024");
    const std::string text = pem(own.get());
    const std::string key = pem(keyOf("RSA-1024")), sha1 = toHex(oracle::digest(HASH_ALGO_SHA1, der(own.get())));
    for (const auto& [before, code, files] : std::vector<std::tuple<std::string, int, size_t>>{
             {"", 0, 2}, {text, 0, 2}, {text + key, 0, 1}, {text + pem(keyOf("P-256")), 12, 1}, {"RC2", 0, 2}}) {
        const bool isNew = before.size() < 4;
        const int cipher = before == "RC2" && legacyContext() != nullptr ? NID_pbe_WithSHA1And40BitRC2_CBC : 0;
        const Folder folder;
        fs::create_directory(folder.path("MY"));
        isNew ? "" : folder.write("MY/a.pem", before);
        setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path("")));
        const std::string file = folder.write("in", bundle(own.get(), keyOf("RSA-1024"), cipher));
        const auto import = [&](const char* password) { return StoreHelper::ImportPKCS12(file, password, "MY", true); };
        EXPECT_TRUE(import("Secret") == 5 && import("") == 5 && import("secret") == code) << before;
        const auto found = [&] { return std::set<fs::path>(fs::directory_iterator(folder.path("MY")), {}); };
        ASSERT_EQ(found().size(), files) << before;
        EXPECT_TRUE(files == 1 || contentOf(found().begin()->string()) == key);
        const std::string content = contentOf(found().rbegin()->string());
        EXPECT_TRUE(isNew || before == text ? content.find(text + "-----BEGIN CERT") == 0 : content == before);
        std::vector<WinCertStoreCertificate> in;
        ASSERT_EQ(StoreHelper::ImportCertificates(folder.write("x", text), "my", &in), 0); // is there
        EXPECT_TRUE((in[0].DoesPrivateKeyExist() != 0) == (code == 0) && found().size() == files);
        EXPECT_EQ(StoreHelper::ExportPKCS12(in[0], folder.path("y"), "secret"), code == 0 ? 10 : 7);
        folder.write("MY/twin.pem", text);
        EXPECT_TRUE(StoreHelper::RemoveCertificate(sha1, "My") == 0 && found().empty());
        EXPECT_EQ(StoreHelper::ImportPKCS12(folder.write("z", bundle(nullptr, nullptr)), "secret", "MY", true), 2);
    }
    setCertStorePlatform(nullptr);
}

// What an interrupted import has left (k, the key), what stands in the way (o, e, n), and taking back what was added.
TEST(StoreFiles, LeftInTheFolder) {
    const Owned<X509> own = makeCertificate("RSA-1024"), second = makeCertificate("P-384");
    const std::string both[] = {bundle(own.get(), keyOf("RSA-1024")), pem(own.get()) + pem(second.get())};
    const auto base = [](X509* one) { return "MY/" + toHex(oracle::digest(HASH_ALGO_SHA1, der(one))); };
    const std::map<char, std::pair<std::string, std::string>> files = {
        {'k', {base(own.get()) + ".key", pem(keyOf("RSA-1024"))}},
        {'o', {base(own.get()) + ".key", pem(keyOf("P-256"))}},
        {'e', {base(own.get()) + ".pem", ""}},
        {'n', {base(second.get()) + ".pem", ""}},
        {'a', {"MY/a.pem", pem(own.get())}}};
    for (const std::string row : {"0k", "0o", "0e", "0ke", "1kn", "1an"}) {
        const Folder folder;
        fs::create_directory(folder.path("MY"));
        std::for_each(row.begin() + 1, row.end(), [&](char c) { folder.write(files.at(c).first, files.at(c).second); });
        setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path("")));
        const std::string in = folder.write("in", both[row[0] - '0']);
        EXPECT_EQ(row[0] == '0' ? StoreHelper::ImportPKCS12(in, "secret", "MY", true)
                                : StoreHelper::ImportCertificates(in, "MY"),
                  row == "0k" ? 0 : 12);
        std::for_each(row.begin() + 1, row.end(),
                      [&](char c) { EXPECT_EQ(contentOf(folder.path(files.at(c).first)), files.at(c).second) << row; });
        const auto count = static_cast<size_t>(std::distance(fs::directory_iterator(folder.path("MY")), {}));
        EXPECT_EQ(count, row == "0k" ? 2 : row.size() - 1) << row;
    }
    setCertStorePlatform(nullptr);
}

// Of several importers at once all succeed, with one copy.
TEST(StoreFiles, Rivals) {
    const Owned<X509> own = makeCertificate("RSA-1024");
    const Folder folder;
    const std::string both = folder.write("p", bundle(own.get(), keyOf("RSA-1024"))),
                      one = folder.write("c", pem(own.get()));
    setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path("")));
    for (int round = 0; round < 25; ++round) {
        fs::create_directory(folder.path("MY"));
        std::vector<std::future<bool>> rivals(6);
        for (size_t rival = 0; rival < rivals.size(); ++rival) {
            rivals[rival] = std::async(std::launch::async, [&, rival] {
                WinCertStoreCertificate in;
                return rival % 3 == 2 ? StoreHelper::ImportCertificates(one, "MY") == 0
                                      : StoreHelper::ImportPKCS12(both, "secret", "MY", true, &in) == 0 &&
                                            in.DoesPrivateKeyExist() != 0;
            });
        }
        EXPECT_TRUE(std::all_of(rivals.begin(), rivals.end(), [](auto& rival) { return rival.get(); }));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("MY")), {}), 2);
        fs::remove_all(folder.path("MY"));
    }
    setCertStorePlatform(nullptr);
}

TEST(StoreFiles, Details) {
    const auto platform = fakePlatform();
    const Owned<X509> made = makeCertificate("RSA-1024", [](X509* own) {
        for (const auto& [nid, content] : {std::pair(NID_key_usage, "03020780"),
                                           {NID_ext_key_usage, "301006082b0601050507030106042a030405"},
                                           {NID_subject_alt_name, "300b820361016287040a000001"}}) {
            X509_add_ext(own, makeExtension(nid, fromHex(content)).get(), -1);
        }
        ASN1_INTEGER_set(X509_get_serialNumber(own), -0x1AB);
    });
    FakeCertificate like = {der(made.get()),
                            "a\nb\xC2\x9F",
                            "c\xE2\x80\xAE\xE2\x81\xA6\xE2\x82\xAC\xC3\x9F",
                            {fileTime(0), fileTime(86400)}};
    WinCertStoreDetails found;
    ASSERT_EQ(StoreHelper::GetDetails(WinCertStoreCertificate(platform->context(like)), found), 0);
    EXPECT_TRUE(found.subject == like.subject && found.notAfter == 86400 && found.privateKey == STORE_KEY_CNG);
    EXPECT_EQ(
        found.text,
        "Subject: a.b.\nIssuer: c..\xE2\x82\xAC\xC3\x9F\nSerial number: -01AB\nValid from: Jan  1 00:00:00 1970 GMT\n"
        "Valid until: Jan  2 00:00:00 1970 GMT\nSHA-1 fingerprint: " +
            toHex(oracle::digest(HASH_ALGO_SHA1, like.der)) +
            "\nSHA-256 fingerprint: " + toHex(oracle::digest(HASH_ALGO_SHA256, like.der)) +
            "\nPublic key: RSA, 1024 bits\nKey usage: digitalSignature\n"
            "Extended key usage: serverAuth\nExtended key usage: 1.2.3.4.5\n"
            "Alternative name: DNS:a.b\nAlternative name: IP Address:10.0.0.1\nPrivate key: CNG\n");
}

} // namespace
