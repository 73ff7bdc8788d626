// Which way a key takes through the library, and what is left of it.

#include <gmock/gmock.h>

#include "faults/Faults.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

class KeyFaults : public testing::Test {
protected:
    KeyFaults() { captureLog(); }
    void TearDown() override { faults::clear(); }

    EVP_PKEY* const rsa = keyOf("RSA-2048");
};

TEST_F(KeyFaults, PlainRsaKeysTakeTheKeptDecoder) {
    for (const bool traditional : {false, true}) {
        const std::string text = pem(rsa, nullptr, traditional);
        // Decoders made, times decoded with one, keys read in the plain way.
        const auto way = [&] {
            auto calls = faults::calls([&] { EXPECT_EQ(EVP_PKEY_eq(X509PrivateKey(text, "").getEVPKey(), rsa), 1); });
            return std::vector<size_t>{calls["OSSL_DECODER_CTX_new_for_pkey"], calls["OSSL_DECODER_from_data"],
                                       calls["PEM_read_bio_PrivateKey"]};
        };
        using Way = std::vector<size_t>;
        EXPECT_EQ(way(), (Way{1, 1, 0}));
        faults::plan("OSSL_DECODER_from_data", "x");
        EXPECT_EQ(way(), (Way{0, 1, 1}));
        EXPECT_EQ(way(), (Way{0, 1, 0})) << "a failure costs one key the short way, not the next";
        CmnApi::initialize(0); // may switch FIPS mode: all is made anew
        faults::plan("OSSL_DECODER_CTX_new_for_pkey", "x");
        EXPECT_EQ(way(), (Way{1, 0, 1}));
        EXPECT_EQ(way(), (Way{1, 1, 0}));
    }
}

TEST_F(KeyFaults, SecretsAreWiped) {
    const Folder folder;
    const std::string plain = pem(rsa);
    const std::string locked = pem(rsa, EVP_aes_256_cbc());
    const std::string path = folder.write("key", locked);
    const Owned<EVP_CIPHER> des(EVP_CIPHER_fetch(legacyContext(), "DES-CBC", nullptr));
    const std::string old = pem(rsa, des.get(), true);
    const auto wiped = [](const std::function<void()>& operation) {
        faults::clear();
        thrown(operation);
        auto lengths = faults::lengths("OPENSSL_cleanse");
        const auto freed = faults::lengths("CRYPTO_clear_free");
        lengths.insert(lengths.end(), freed.begin(), freed.end());
        return lengths;
    };
    const auto contains = [](size_t a, size_t b) { return testing::AllOf(testing::Contains(a), testing::Contains(b)); };
    const size_t derSize = static_cast<size_t>(i2d_PrivateKey(rsa, nullptr)) + 26; // PKCS#8 around it
    EXPECT_THAT(wiped([&] { X509PrivateKey(plain, ""); }), contains(plain.size(), derSize));
    EXPECT_THAT(wiped([&] { X509PrivateKey(old, "secret"); }), contains(old.size(), EVP_MAX_KEY_LENGTH));
    for (const char* text : {"secret", "wrong"}) {
        auto* const phrase = const_cast<char*>(text);
        EXPECT_THAT(wiped([&] { X509PrivateKey(locked, phrase); }), contains(locked.size(), PEM_BUFSIZE));
        EXPECT_THAT(wiped([&] { X509PrivateKey(path, nullptr, phrase); }), contains(4096, PEM_BUFSIZE));
    }
}

} // namespace
