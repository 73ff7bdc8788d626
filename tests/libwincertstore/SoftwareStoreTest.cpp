#include <filesystem>
#include <fstream>
#include <sstream>

#include <openssl/err.h>

#include "libwincertstore/StoreSituations.h"
#include "testlib/Platform.h"

namespace {

namespace fs = std::filesystem;

std::string bundle(const std::string& kind, const std::string& password) {
    const Owned<X509> certificate = makeCertificate(kind);
    const Owned<PKCS12> made(
        PKCS12_create(password.c_str(), nullptr, keyOf(kind), certificate.get(), nullptr, 0, 0, 0, 0, 0));
    return written([&](BIO* out) { return i2d_PKCS12_bio(out, made.get()); });
}

/** A folder of stores. */
struct Stores {
    Folder folder;
    std::shared_ptr<SoftwareCertStore> platform = std::make_shared<SoftwareCertStore>(folder.path(""));

    /** With files as in store-files.txt. */
    explicit Stores(const std::string& files) {
        for (const std::string& file : pieces(files, ';')) {
            const std::string what = file.substr(file.find('=') + 1);
            const std::string form = what.substr(0, what.find_first_of(":/"));
            const std::string rest = what.substr(what.find(':') + 1);
            const fs::path path = folder.path(pieces(file, '=')[0]);
            fs::create_directories(form == "folder" ? path : path.parent_path());
            if (form == "link") {
                fs::create_symlink(rest, path);
            } else if (form != "folder") {
                std::ofstream(path, std::ios::binary)
                    << (form == "bundle" ? bundle(rest, what[6] == '/' ? "secret" : "") : pemOf(what));
            }
        }
    }
    explicit Stores(X509* certificate) : Stores("MY/x=") { folder.write("MY/a.pem", pem(certificate)); }

    /** Opens a store for the time of @p use. @return the error */
    uint32_t with(const std::string& name, const std::function<void(CertStoreHandle)>& use, bool readOnly = true) {
        CertStoreHandle store = nullptr;
        const uint32_t error = platform->openStore(name, readOnly, store);
        if (error == 0) {
            use(store);
            platform->closeStore(store);
        }
        return error;
    }
    WinCertStoreCertificate first(const std::string& name = "MY", const std::string& subject = "") {
        CertContext found = nullptr;
        with(name, [&](auto store) { found = platform->findBySubject(store, subject, nullptr); });
        return WinCertStoreCertificate(found, CERT_MEMORY_OWNED, platform);
    }
};

TEST(SoftwareStore, Files) {
    const PassPhraseOnInput input;
    for (const auto& row : readRows("store-files.txt")) {
        if (!posixNames && (row[0].find("=link:") != std::string::npos || row[0].find("/B.") != std::string::npos)) {
            continue;
        }
        Stores stores(row[0]);
        std::ostringstream found;
        const uint32_t error = stores.with(row[1], [&](CertStoreHandle store) {
            CertContext context = nullptr;
            while ((context = stores.platform->findBySubject(store, "HoST", context)) != nullptr) {
                const WinCertStoreCertificate own(context, CERT_MEMORY_BORROWED, stores.platform);
                const Owned<X509> certificate(own.GetX509());
                StoreKey key;
                const uint32_t acquired = stores.platform->acquireKey(context, key);
                EXPECT_EQ(own.DoesPrivateKeyExist() != 0, acquired == 0);
                found << kindOf(X509_get0_pubkey(certificate.get())) << '=' << std::hex << acquired << ',';
            }
            EXPECT_EQ(stores.platform->findBySubject(store, "hostx", nullptr), nullptr);
        });
        EXPECT_EQ(error == 0 ? found.str() : "!" + std::to_string(error),
                  row[2] + (error == 0 && !row[2].empty() ? "," : ""))
            << row[0];
    }
    EXPECT_FALSE(input.asked());
}

TEST(SoftwareStore, NamesUsagesAndDates) {
    const auto wrap = [](X509* certificate) { return Stores(certificate).first(); };
    situations::namesAndUsages(wrap);
    situations::dates(wrap);
}

TEST(SoftwareStore, Adding) {
    Stores stores("MY/a.pem=cert:RSA-1024;CA/x=");
    const WinCertStoreCertificate own = stores.first();
    std::string fingerprint;
    EXPECT_EQ(own.GetFingerprint(fingerprint), 0);
    const std::string added = stores.folder.path("CA/" + fingerprint + ".pem");
    for (const uint32_t disposition : {1U, 2U, 3U, 5U, 6U, 7U}) {
        const auto add = [&](CertStoreHandle store) {
            return stores.platform->addToStore(store, own.GetContext(), disposition);
        };
        const uint32_t again = disposition == 1 || disposition > 5 ? 0x80092005 : 0;
        stores.with("CA", [&](auto store) { EXPECT_TRUE(add(store) == 5 && !fs::exists(added)); });
        stores.with(
            "CA", [&](auto store) { EXPECT_TRUE(add(store) == 0 && add(store) == again); }, false);
        stores.with(
            "MY", [&](auto store) { EXPECT_EQ(add(store), again); }, false);
        EXPECT_EQ(contentOf(added), pem(Owned<X509>(own.GetX509()).get()));
        fs::remove(added);
    }
}

TEST(SoftwareStore, Signing) {
    Stores stores("RSA/a.pem=cert:RSA-1024+pkcs8:RSA-1024;EC/a.pem=cert:P-256+pkcs8:P-256");
    SigningBackEnd& signing = stores.platform->signing();
    StoreKey rsa;
    StoreKey ec;
    EXPECT_EQ(stores.platform->acquireKey(stores.first("RSA").GetContext(), rsa), 0U);
    EXPECT_EQ(stores.platform->acquireKey(stores.first("EC").GetContext(), ec), 0U);
    const std::string data = std::string(1, '\0') + pseudoRandom(127, 1);
    std::string made(128, '\0');
    auto* const room = reinterpret_cast<unsigned char*>(made.data());
    uint32_t length = 128;
    const auto reference = [&](int padding, size_t size) { // the signatures have one form only
        const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
            EVP_PKEY_CTX_new(keyOf("RSA-1024"), nullptr), EVP_PKEY_CTX_free);
        unsigned char signature[128];
        size_t produced = sizeof signature;
        EVP_PKEY_sign_init(context.get());
        EVP_PKEY_CTX_set_rsa_padding(context.get(), padding);
        EXPECT_EQ(EVP_PKEY_sign(context.get(), signature, &produced, bytes(data), size), 1);
        return std::string(signature, signature + produced);
    };
    uintptr_t hash = 0;
    EXPECT_TRUE(signing.createHash(rsa.handle, hash) == 0 && signing.hashSize(hash, length) == 0 && length == 36);
    EXPECT_EQ(signing.setHashValue(hash, bytes(data)), 0U);
    EXPECT_EQ(signing.signHash(hash, 1, room, length = 127), 0x80090004);
    EXPECT_EQ(signing.signHash(hash, 1, room, length = 128), 0U);
    EXPECT_EQ(std::string(made.rbegin(), made.rend()), reference(RSA_PKCS1_PADDING, 36));
    for (const auto& [key, isPkcs1, size, roomSize, error] :
         std::vector<std::tuple<uintptr_t, bool, uint32_t, uint32_t, uint32_t>>{
             {rsa.handle, true, 36, 128, 0},
             {rsa.handle, false, 128, 128, 0},
             {rsa.handle, true, 36, 127, 0x80090004},
             {rsa.handle, true, 118, 128, 0x80090020},
             {rsa.handle, false, 36, 128, 0x80090020},
             {ec.handle, true, 36, 128, 0x8009000A},
             {hash, true, 36, 128, 0x80090026},
             {0, true, 36, 128, 0x80090026}}) {
        EXPECT_EQ(signing.signCng(key, isPkcs1, bytes(data), size, room, roomSize, length), error) << size;
        EXPECT_TRUE(error != 0 || made == reference(isPkcs1 ? RSA_PKCS1_PADDING : RSA_NO_PADDING, size));
    }
    signing.destroyHash(hash);
    signing.freeCngKey(rsa.handle);
    signing.releaseProvider(ec.handle);
    for (const uintptr_t wrong : {rsa.handle, ec.handle, hash, UINTPTR_MAX}) {
        EXPECT_TRUE(signing.createHash(wrong, hash) == 0x80090026 && signing.hashSize(wrong, length) == 0x80090026);
        EXPECT_EQ(signing.setHashValue(wrong, bytes(data)), 0x80090026);
        EXPECT_EQ(signing.signHash(wrong, 1, room, length), 0x80090026);
        EXPECT_EQ(signing.signCng(wrong, true, bytes(data), 36, room, 128, length), 0x80090026);
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SoftwareStore, Chains) {
    for (const auto& row : readRows("store-chains.txt")) {
        Stores stores("MY/x=;CA/x=;Own/x=;Root/x=");
        for (const std::string& file : pieces(row[0], ';')) {
            const std::vector<std::string> parts = pieces(pieces(file, '=')[1] + "<", '<');
            const auto change = [&](X509* made) {
                X509_set_subject_name(made, nameFrom("CN=" + parts[0]).get());
                X509_set_issuer_name(made, nameFrom("CN=" + parts[1]).get());
                X509_gmtime_adj(X509_getm_notAfter(made), file.back() == '-' ? -1 : 1000);
                const std::string constraints = fromHex(file.back() == '!' ? "3000" : "30030101ff");
                X509_add_ext(made, makeExtension(NID_basic_constraints, constraints).get(), -1);
            };
            const Owned<X509> made = makeCertificate("P-256#" + parts[0], change, EVP_sha256(), "P-256#" + parts[1]);
            stores.folder.write(pieces(file, '=')[0] + ".pem", pem(made.get()));
        }
        std::vector<CertContext> issuers;
        EXPECT_EQ(stores.platform->chain(stores.first("MY", row[1]).GetContext(), issuers), 0U);
        std::string chain;
        for (const CertContext context : issuers) {
            const WinCertStoreCertificate issuer(context, CERT_MEMORY_OWNED, stores.platform);
            std::string subject;
            issuer.GetSubjectName(subject);
            chain += (chain.empty() ? "" : ",") + subject + (issuer.IsValid() == 0 ? "" : "-");
        }
        EXPECT_EQ(chain, row[2]) << row[0];
    }
}

} // namespace
