// Folders of stores that cannot be read, certificates without a digest, and disks that are full.

#include <filesystem>

#include "faults/Faults.h"
#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

namespace fs = std::filesystem;

TEST(StoreFaults, NothingHalfWrittenAndNothingDenied) {
    const Owned<X509> own = makeCertificate("RSA-1024");
    const Owned<PKCS12> made(PKCS12_create("", nullptr, keyOf("RSA-1024"), own.get(), nullptr, 0, 0, 0, 0, 0));
    const Folder folder;
    const std::string file = folder.write("in", pem(own.get()));
    const std::string store = folder.path("MY");
    const std::string bundle = folder.write("b", written([&](BIO* out) { return i2d_PKCS12_bio(out, made.get()); }));
    const std::string sha1 = toHex(oracle::digest(HASH_ALGO_SHA1, der(own.get())));
    const auto platform = std::make_shared<SoftwareCertStore>(folder.path(""));
    setCertStorePlatform(platform);
    fs::create_directory(store);
    WinCertStoreCertificate found;
    CertStoreHandle handle = nullptr;
    const std::map<std::string, std::function<int()>> operations = {
        {"import", [&] { return WinCertStoreHelper::ImportCertificates(file, "MY"); }},
        {"bundle", [&] { return WinCertStoreHelper::ImportPKCS12(bundle, "", "MY", true); }},
        {"export", [&] { return WinCertStoreHelper::ExportCertificate(found, store + "/x", CERT_FILE_PEM); }},
        {"remove", [&] { return WinCertStoreHelper::RemoveCertificate(sha1, "MY"); }},
        {"open", [&] { return static_cast<int>(platform->openStore("my", true, handle)); }}, // only where that fails
        {"find", [&] { return CertificateSelector("MY", {}).FindCertInStore(sha1, found); }}};
    constexpr const char* rows = // an operation, the call that fails, when, and the answer
        "import fflush * 12;import fclose * 12;bundle fflush * 12;bundle fflush .x 12;bundle fclose * 12;"
        "find X509_digest x 158;import - . 0;find X509_digest x 160;remove X509_digest x 1;open opendir .x 5;"
        "open opendir xx 5;find opendir .x 8772;find - . 0;export fflush * 8;export fclose * 8;remove - . 0";
    for (const std::string& row : pieces(rows, ';')) {
        const std::vector<std::string> parts = pieces(row, ' ');
        if (parts[1] == "opendir" && !posixNames) {
            continue;
        }
        faults::plan(parts[1], parts[2]);
        const int answer = operations.at(parts[0])();
        faults::clear();
        EXPECT_EQ(std::to_string(answer), parts[3]) << row;
        const auto files = std::distance(fs::directory_iterator(store), {});
        EXPECT_EQ(files, operations.at("find")() == 0 ? 1 : 0) << row;
    }
    setCertStorePlatform(nullptr);
}

} // namespace
