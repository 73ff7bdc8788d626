// What callers can do while FIPS mode is on; what was made outside is used inside, and the reverse.

#include <map>

#include "fips/World.h"
#include "revocation/Situations.h"
#include "testlib/TlsPeer.h"

namespace {

using Lines = std::vector<std::string>;

/** Runs a body outside FIPS mode, inside, and outside again. */
void inAndOut(const std::function<void(bool inside)>& body) {
    World().run([&] {
        for (const int mode : {0, 1, 0}) {
            CmnApi::initialize(mode);
            EXPECT_EQ(CmnApi::getFIPSMode(), mode);
            body(mode == 1);
        }
    });
}

TEST_F(Fips, Streams) {
    Lines streams[7];
    std::unique_ptr<KSCrypt> begun[7]; // in the mode before
    const std::string data = pseudoRandom(5000, 1);
    inAndOut([&](bool) {
        for (int type = 1; type <= 6; ++type) {
            const Kind kind = kindOf(type);
            const std::string aad = kind.authenticated ? "aad" : "";
            std::string stream = run({*kind.make(), true}, data, 1000, aad).output;
            EXPECT_EQ(stream, kind.expectedStream(stream.substr(0, kind.ivInStream), data, aad));
            streams[type].push_back(stream);
            for (const std::string& made : streams[type]) {
                EXPECT_EQ(run({*kind.make(), false}, made, 0, aad).output, data);
            }
            stream = begun[type] ? run({*begun[type], true}, data).output : stream;
            EXPECT_TRUE(!begun[type] || run({*kind.make(), false}, stream).output == data + data);
            begun[type] = kind.make();
            EXPECT_EQ(Side({*begun[type], true}).put(data, false), 0);
        }
    });
}

/** The signature of "data" by OpenSSL, in Base64; PKCS#1 v1.5 has but one. */
std::string signature(EVP_PKEY* key, const EVP_MD* digest) {
    const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
    unsigned char out[1000];
    size_t length = sizeof out;
    EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, key);
    return EVP_DigestSign(context.get(), out, &length, bytes("data"), 4) != 1
               ? ""
               : CmnApi::B64Encode(out, static_cast<int>(length));
}

TEST_F(Fips, KeysCertificatesAndSignatures) {
    std::vector<Owned<EVP_PKEY>> keys;         // of the modes so far
    std::map<_HASH_ALGO, std::string> genuine; // by the first one
    inAndOut([&](bool inside) {
        EVP_PKEY* made = nullptr;
        EXPECT_EQ(cmncrypto_generatePrivateKey(1024, &made), inside ? 14 : 0);
        EVP_PKEY_free(made);
        EXPECT_EQ(cmncrypto_generatePrivateKey(2048, &made), 0);
        EXPECT_STREQ(OSSL_PROVIDER_get0_name(EVP_PKEY_get0_provider(made)), inside ? "fips" : "default");
        keys.emplace_back(made);
        for (const _HASH_ALGO algorithm : {HASH_ALGO_SHA256, HASH_ALGO_SHA512, HASH_ALGO_SHA1}) {
            const EVP_MD* const digest = algorithm == 1 ? EVP_sha256() : algorithm == 2 ? EVP_sha512() : EVP_sha1();
            const auto signedBy = [&](EVP_PKEY* key) {
                std::string text;
                thrown([&] { text = X509PrivateKey(key, false).getSign("data", algorithm); });
                return text;
            };
            EXPECT_EQ(signedBy(keyOf("RSA-1024")).empty(), inside) << "a small key";
            for (const Owned<EVP_PKEY>& key : keys) {
                const std::string text = signedBy(key.get());
                EXPECT_EQ(text, signature(key.get(), digest));
                EXPECT_EQ(text.empty(), inside && algorithm == HASH_ALGO_SHA1); // such can be verified, but not made
                genuine.emplace(algorithm, text);
                subTokenValuePair name = {"CN", "host", nullptr};
                X509* certificate = nullptr;
                EVP_PKEY* subject = EVP_PKEY_dup(key.get());
                EXPECT_EQ(cmncrypto_generateSelfSignCertificate(1, algorithm, &name, &subject, &certificate),
                          text.empty() ? 14 : 0);
                const Owned<EVP_PKEY> subjectOwner(subject);
                EXPECT_TRUE(text.empty() || X509_verify(Owned<X509>(certificate).get(), key.get()) == 1);
                const Owned<BIO> request(BIO_new(BIO_s_mem()));
                BIO_puts(request.get(), X509PrivateKey(key.get(), false).getCSR("host", "DNS:host").c_str());
                const Owned<X509_REQ> read(PEM_read_bio_X509_REQ(request.get(), nullptr, nullptr, nullptr));
                EXPECT_EQ(X509_REQ_verify(read.get(), key.get()), 1);
            }
            const X509PublicKey first(keys[0].get(), false);
            EXPECT_TRUE(first.verifySign("data", genuine[algorithm], algorithm));
            EXPECT_FALSE(first.verifySign("dato", genuine[algorithm], algorithm));
        }
        static const X509PublicKey tiny(keyOf("RSA-512"), false); // with what it keeps from one signature to the next
        static const std::string byTiny = signature(keyOf("RSA-512"), EVP_sha256());
        EXPECT_EQ(tiny.verifySign("data", byTiny, HASH_ALGO_SHA256), !inside);
    });
}

TEST_F(Fips, EncryptedKeys) {
    std::map<std::string, std::string> texts; // made outside
    char secret[] = "secret";
    const std::string why = "Provided private key is not FIPS supported.";
    inAndOut([&](bool inside) {
        for (const auto& row : readRows("fips-keys.txt")) {
            SCOPED_TRACE(row[0]);
            std::string& text = texts[row[0]];
            text = text.empty() ? pemOf(row[0]) : text;
            const bool refused = inside && row[1] == "8787", plain = row[1] == "0";
            EXPECT_EQ(X509PrivateKey::getPrivKeyStatus(text, secret), refused ? 8787 : plain ? 0 : 1);
            EXPECT_EQ(X509PrivateKey::getPrivKeyStatus(text, ""), plain ? 0 : 5999);
            const Lines lines(refused ? 3 : 0, "16 - X509PrivateKey::getEVPPrivateKeyEncrypted: *");
            EXPECT_TRUE(fails([&] { X509PrivateKey(text, secret); }, refused ? "8787 " + why : "", lines));
        }
    });
}

TEST_F(Fips, Bundles) { // OpenSSL 3.0 derives their keys in a way that no FIPS provider has
    unsigned char bundle[10000];
    int length = 0;
    char secret[] = "secret";
    unsigned char* old = nullptr;
    int oldLength = 0;
    inAndOut([&](bool inside) {
        X509* read = nullptr;
        EVP_PKEY* key = nullptr;
        int size = sizeof bundle;
        takeLog();
        EXPECT_EQ(cmncrypto_convertToPKCS12(makeCertificate().get(), keyOf("P-256"), secret, bundle, &size),
                  inside ? 14 : 0);
        length = inside ? length : size;
        EXPECT_EQ(cmncrypto_extractCertFromPKCS12(bundle, length, secret, &read, &key), inside ? 13 : 0);
        EXPECT_TRUE(failuresLogged(Lines(inside ? 2 : 0, "16 - X509Certificate::*PKCS12: Failed to *")));
        EXPECT_EQ((Owned<X509>(read) == nullptr) + (Owned<EVP_PKEY>(key) == nullptr), inside ? 2 : 0);
        if (old == nullptr) {
            constexpr int rc2 = NID_pbe_WithSHA1And40BitRC2_CBC;
            oldLength =
                i2d_PKCS12(Owned<PKCS12>(PKCS12_create_ex(secret, nullptr, keyOf("P-256"), makeCertificate().get(),
                                                          nullptr, rc2, rc2, 0, 0, 0, legacyContext(), nullptr))
                               .get(),
                           &old);
        }
        read = nullptr, key = nullptr; // no private context opens what FIPS mode refuses
        EXPECT_EQ(cmncrypto_extractCertFromPKCS12(old, oldLength, secret, &read, &key), inside ? 13 : 0);
        EXPECT_EQ((Owned<X509>(read) == nullptr) + (Owned<EVP_PKEY>(key) == nullptr), inside ? 2 : 0);
    });
    OPENSSL_free(old);
}

TEST_F(Fips, ChainsWithRevocationLists) {
    const std::string chain = "leaf<int+int<root";
    inAndOut([&](bool) {
        for (const std::string lists : {"int", "int|md=sha512", "int|rev=leaf", "int|key=other", "root"}) {
            const Verdict verdict("root<root+" + lists, chain, X509_V_FLAG_CRL_CHECK);
            X509Store store;
            store.setTrustedCerts(pemFrom("root<root"));
            store.setCrl(pemFrom(lists));
            store.setCrlCheckLevel(CRL_CHECK_LEAF);
            store.verifyX509Cert(pemFrom(chain));
            EXPECT_EQ(store.getStatus().code, verdict.error) << lists;
            EXPECT_EQ(store.getStatus().verified, lists == "int" || lists == "int|md=sha512");
        }
    });
}

/** The result of a handshake with a client in a context of its own, which knows nothing of FIPS mode. */
std::string met(Owned<SSL> server, const char* ciphers) {
    static OSSL_LIB_CTX* const other = OSSL_LIB_CTX_new();
    const Owned<SSL_CTX> context(SSL_CTX_new_ex(other, nullptr, TLS_client_method()));
    Talk talk(false, std::move(server));
    talk.client.reset(SSL_new(context.get()));
    SSL_set_fd(talk.client.get(), talk.link.far);
    SSL_set_cipher_list(talk.client.get(), ciphers);
    return talk.shakeHands();
}

TEST_F(Fips, Tls) {
    using namespace WinCertStore;
    inAndOut([](bool inside) {
        const Folder folder;
        std::filesystem::create_directory(folder.path("MY"));
        const std::string file =
            folder.write("MY/host.pem", pem(makeCertificate("RSA-2048").get()) + pem(keyOf("RSA-2048")));
        setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path("")));
        TLSOperations memory(CTX_INIT_CLIENT), master(CTX_INIT_MASTER);
        using Filters = std::list<std::shared_ptr<CertificateFilter>>;
        master.setWinCertStoreOpenSSLHelper(std::make_shared<WinCertStoreOpenSSLHelper>("", nullptr, Filters()));
        for (const char* ciphers : {"DEFAULT", "ECDHE", "DHE"}) {
            const std::string expected = inside && ciphers == std::string("DHE") ? "9120" : "0";
            EXPECT_EQ(met(serverBy(memory, "RSA-2048"), ciphers), expected) << ciphers << ": the group is no FIPS one";
            for (const std::string& path : {file, std::string("MY\\\\host")}) {
                const CertInfoPath paths = {"", path.c_str(), path == file ? file.c_str() : "", ""};
                SSL* made = nullptr;
                EXPECT_EQ(thrown([&] { master.tlsInitMaster(&paths, "DEFAULT", 0, &made); }), "");
                EXPECT_EQ(met(Owned<SSL>(made), ciphers), expected) << ciphers << path;
            }
        }
        setCertStorePlatform(nullptr);
    });
}

} // namespace
