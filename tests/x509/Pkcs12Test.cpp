#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

/** The kinds of key of what a bundle holds, or the code of the flat function. */
std::string unpack(const std::string& bundle, const char* password) {
    X509* certificate = reinterpret_cast<X509*>(1);
    EVP_PKEY* key = reinterpret_cast<EVP_PKEY*>(1);
    const int length = static_cast<int>(bundle.size());
    const int code = cmncrypto_extractCertFromPKCS12(bytes(bundle), length, password, &certificate, &key);
    const Owned<X509> certificateOwner(certificate);
    const Owned<EVP_PKEY> keyOwner(key);
    EXPECT_TRUE(code == 0 || (certificate == nullptr && key == nullptr));
    return code != 0 ? std::to_string(code)
                     : kindOf(certificate == nullptr ? nullptr : X509_get0_pubkey(certificate)) + "," + kindOf(key);
}

/** A bundle made by OpenSSL directly. */
std::string bundleOf(const char* password, int ofKey = 0, int ofCertificate = 0, bool withCertificate = true) {
    const Owned<X509> certificate = makeCertificate("RSA-2048");
    const Owned<PKCS12> made(PKCS12_create_ex(password, nullptr, keyOf("RSA-2048"),
                                              withCertificate ? certificate.get() : nullptr, nullptr, ofKey,
                                              ofCertificate, 0, 0, 0, ofKey == 0 ? nullptr : legacyContext(), nullptr));
    return written([&](BIO* out) { return i2d_PKCS12_bio(out, made.get()); });
}

const char* const passwords[] = {nullptr, "", "secret", "\xc3\xa9 %s"};

TEST(Pkcs12, PackedIsReadByOpenSsl) {
    captureLog();
    for (const std::string kind : {"RSA-2048", "P-256", "ED25519"}) {
        const Owned<X509> certificate = makeCertificate(kind, nullptr, kind[0] == 'E' ? nullptr : EVP_sha256());
        for (const char* password : passwords) {
            std::vector<unsigned char> out(10000, '#');
            int length = 10000;
            ASSERT_EQ(cmncrypto_convertToPKCS12(certificate.get(), keyOf(kind), const_cast<char*>(password), out.data(),
                                                &length),
                      0);
            EXPECT_EQ(std::count(out.begin() + length, out.end(), '#'), 10000 - length);
            const unsigned char* data = out.data();
            const Owned<PKCS12> read(d2i_PKCS12(nullptr, &data, length));
            EXPECT_EQ(data, out.data() + length);
            EVP_PKEY* key = nullptr;
            X509* found = nullptr;
            EXPECT_EQ(PKCS12_parse(read.get(), password, &key, &found, nullptr), 1);
            EXPECT_EQ(X509_cmp(Owned<X509>(found).get(), certificate.get()), 0);
            EXPECT_EQ(kindOf(Owned<EVP_PKEY>(key).get()), kind);
        }
    }
}

TEST(Pkcs12, UnpackedIsWhatOpenSslPacked) {
    captureLog();
    for (const char* packed : passwords) {
        const std::string bundle = bundleOf(packed);
        for (const char* tried : passwords) {
            const bool same = std::string(packed == nullptr ? "" : packed) == (tried == nullptr ? "" : tried);
            EXPECT_EQ(unpack(bundle, tried), same ? "RSA-2048,RSA-2048" : "13");
        }
    }
    EXPECT_EQ(unpack(bundleOf("secret", 0, 0, false), "secret"), ",RSA-2048");
    const std::string bundle = bundleOf("secret");
    for (size_t size = 1; size < bundle.size(); size += 97) { // cut anywhere
        EXPECT_EQ(unpack(bundle.substr(0, size), "secret"), "13");
    }
}

TEST(Pkcs12, OldFormats) {
    if (legacyContext() == nullptr) {
        GTEST_SKIP() << "OpenSSL's legacy provider is not installed";
    }
    captureLog();
    const int rc2 = NID_pbe_WithSHA1And40BitRC2_CBC;
    const int des3 = NID_pbe_WithSHA1And3_Key_TripleDES_CBC;
    for (const auto& [ofKey, ofCertificate] : {std::pair(des3, des3), {des3, rc2}, {rc2, rc2}}) {
        const std::string bundle = bundleOf("secret", ofKey, ofCertificate);
        EXPECT_EQ(unpack(bundle, "secret"), "RSA-2048,RSA-2048") << ofKey << " " << ofCertificate;
        EXPECT_TRUE(failuresLogged({}));
        EXPECT_EQ(unpack(bundle, "wrong"), "13");
        takeLog();
    }
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0); // the process's own providers stay as they are
}

TEST(Pkcs12, Refused) {
    captureLog();
    const Owned<X509> certificate = makeCertificate();
    const std::string bundle = bundleOf("secret");
    std::string altered = bundle;
    altered[altered.size() / 2] ^= 1;
    X509* found = nullptr;
    EVP_PKEY* key = nullptr;
    const auto extract = [&](const std::string& data, const char* password) {
        return [&, data, password] {
            X509Certificate::extractCertFromPKCS12(bytes(data), static_cast<int>(data.size()), password, &found, &key);
        };
    };
    const std::string noBundle = "13 Failed to de serialize certificate and private key from buffer.";
    const std::string noContents = "13 Failed to parse structure using certificate and key.";
    fails("X509Certificate::extractCertFromPKCS12", {{extract(bundle, "wrong"), noContents},
                                                     {extract(altered, "secret"), noContents},
                                                     {extract("garbage", "secret"), noBundle},
                                                     {extract(pem(certificate.get()), "secret"), noBundle},
                                                     {extract("", "secret"), "12 Failed to open cert file."}});
    EXPECT_EQ(cmncrypto_extractCertFromPKCS12(bytes(bundle), -1, "secret", &found, &key), 12);
    EXPECT_EQ(cmncrypto_extractCertFromPKCS12(nullptr, 10, "secret", &found, &key), 12);
    EXPECT_EQ(cmncrypto_extractCertFromPKCS12(bytes(bundle), 10, "secret", nullptr, &key), 20);
    EXPECT_EQ(cmncrypto_extractCertFromPKCS12(bytes(bundle), 10, "secret", &found, nullptr), 20);
    unsigned char out[100] = {};
    int length = 99;
    char password[] = "secret";
    EXPECT_EQ(cmncrypto_convertToPKCS12(certificate.get(), keyOf("P-256"), password, out, &length), 0);
    EXPECT_TRUE(length == 99 && out[0] == 0x30 && out[99] == 0); // cut silently
    const std::string noStructure = "14 Failed to create structure using certificate and key.";
    fails("X509Certificate::convertToPKCS12",
          {{[&] { X509Certificate::convertToPKCS12(certificate.get(), keyOf("RSA-2048"), password, out, &length); },
            noStructure},
           {[&] { X509Certificate::convertToPKCS12(nullptr, nullptr, password, out, &length); }, noStructure}});
    EXPECT_EQ(cmncrypto_convertToPKCS12(certificate.get(), keyOf("P-256"), password, nullptr, &length), 20);
    EXPECT_EQ(cmncrypto_convertToPKCS12(certificate.get(), keyOf("P-256"), password, out, nullptr), 20);
    EXPECT_EQ(cmncrypto_convertToPKCS12(certificate.get(), keyOf("P-256"), password, out, &(length = -1)), 20);
}

} // namespace
