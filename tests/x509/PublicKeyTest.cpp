#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

const std::string publicKeyTag = " - X509PublicKey::";

/** A signature made by OpenSSL directly. */
std::string sign(const std::string& kind, const std::string& data, const EVP_MD* digest) {
    const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
    unsigned char signature[1000];
    size_t length = sizeof signature;
    EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, keyOf(kind));
    EXPECT_EQ(EVP_DigestSign(context.get(), signature, &length, bytes(data), data.size()), 1);
    return std::string(signature, signature + length);
}

std::string base64(const std::string& data) {
    std::vector<unsigned char> text(data.size() * 2 + 4);
    const int length = EVP_EncodeBlock(text.data(), bytes(data), static_cast<int>(data.size()));
    return std::string(text.begin(), text.begin() + length);
}

TEST(PublicKey, CopiesAreEmptyAndKeysAreCompared) {
    const X509PublicKey key(pemOf("public:RSA-2048"));
    EXPECT_EQ(X509PublicKey(key).getEVPKey(), nullptr);
    X509PublicKey target(keyOf("P-256"), false);
    EXPECT_EQ((target = key).getEVPKey(), nullptr);
    EXPECT_EQ(target.getEVPKey(), keyOf("P-256"));
    EVP_PKEY* const keys[] = {key.getEVPKey(), keyOf("RSA-2048"), keyOf("RSA-1024"), keyOf("P-256"), nullptr};
    const int expected[5][5] = {
        {1, 1, 0, -1, 0}, {1, 1, 0, -1, 0}, {0, 0, 1, -1, 0}, {-1, -1, -1, 1, 0}, {0, 0, 0, 0, 1}};
    for (int at = 0; at < 25; ++at) {
        EXPECT_EQ(X509PublicKey(keys[at / 5], false) == X509PublicKey(keys[at % 5], false), expected[at / 5][at % 5])
            << at;
    }
}

TEST(PublicKey, OfRequestsAndCertificates) {
    captureLog();
    const PassPhraseOnInput input;
    for (const char* kind : {"RSA-2048", "P-256"}) {
        const std::string request = X509PrivateKey(keyOf(kind), false).getCSR("host", "");
        takeLog();
        const std::unique_ptr<X509PublicKey> key(X509PublicKey::extractPublicKeyFromCSR("text\n" + request));
        EXPECT_TRUE(logged("2" + publicKeyTag, {"2" + publicKeyTag + "extractPublicKeyFromCSR: Extracted publickey"}));
        EXPECT_EQ(*key == X509PublicKey(keyOf(kind), false), 1);
        EXPECT_TRUE(key->verifyCert(pem(makeCertificate(kind).get())));
    }
    const Owned<X509_REQ> foreign(X509_REQ_new());
    X509_REQ_set_pubkey(foreign.get(), keyOf("P-256"));
    X509_PUBKEY_set0_param(X509_REQ_get_X509_PUBKEY(foreign.get()), OBJ_txt2obj("1.2.3.4", 1), V_ASN1_UNDEF, nullptr,
                           nullptr, 0);
    X509_REQ_sign(foreign.get(), keyOf("P-256"), EVP_sha256());
    const Owned<X509> other = makeCertificate("RSA-1024", nullptr, EVP_sha256(), "RSA-2048");
    const auto extract = [](const std::string& text) {
        return [text] { delete X509PublicKey::extractPublicKeyFromCSR(text); };
    };
    fails("X509PublicKey::extractPublicKeyFromCSR",
          {{extract(""), "-1 Could not read certificate request"},
           {extract(lockedPem("CERTIFICATE REQUEST", other.get())), "-1 Could not read certificate request"},
           {extract(written([&](BIO* out) { return PEM_write_bio_X509_REQ(out, foreign.get()); })),
            "-1 Could not read public key from certificate request"}});
    const X509PublicKey key(keyOf("RSA-2048"), false);
    EXPECT_FALSE(key.verifyCert(pem(other.get()))); // signed by this key, for another one
    EXPECT_FALSE(key.verifyCert(pemOf("cert:P-256")));
    EXPECT_FALSE(X509PublicKey().verifyCert(pem(other.get())));
    for (const std::string blocks : {"", "text:", "public:RSA-2048", "locked/CERTIFICATE:RSA-2048"}) {
        fails("X509PublicKey::verifyCert", {{[&] { EXPECT_FALSE(key.verifyCert(pemOf(blocks))); }, "", {"*"}}});
    }
    EXPECT_FALSE(input.asked());
}

TEST(PublicKey, Signatures) {
    captureLog();
    const EVP_MD* const digests[] = {nullptr, EVP_sha256(), EVP_sha512(), EVP_sha1()};
    for (const char* kind : {"RSA-2048", "P-256"}) {
        const X509PublicKey key(keyOf(kind), false);
        for (const std::string& data : {std::string(), std::string("a\0b", 3), pseudoRandom(100000, 1)}) {
            for (const int made : {1, 2, 3}) {
                std::string signature = sign(kind, data, digests[made]);
                int length = static_cast<int>(signature.size());
                auto* raw = reinterpret_cast<unsigned char*>(signature.data());
                for (const int tried : {0, 1, 2, 3}) {
                    const bool valid = tried == made || (tried == 0 && made != 2); // SHA-512 is not among those offered
                    EXPECT_EQ(key.verifySign(data, base64(signature), _HASH_ALGO(tried)), valid)
                        << kind << made << tried;
                    EXPECT_EQ(key.verifySign(data, raw, length, _HASH_ALGO(tried)), valid) << kind << made << tried;
                }
                EXPECT_FALSE(key.verifySign(data + "x", base64(signature), _HASH_ALGO(made)));
                EXPECT_FALSE(
                    X509PublicKey(keyOf("RSA-1024"), false).verifySign(data, base64(signature), _HASH_ALGO(made)));
            }
        }
    }
    const std::string good = base64(sign("RSA-2048", "data", EVP_sha256()));
    const X509PublicKey key(keyOf("RSA-2048"), false);
    for (const std::string& text : {std::string(), "\n" + good, good.substr(0, 100), good.substr(1), good + "AAAA",
                                    "=" + good, std::string(100000, 'A')}) {
        EXPECT_FALSE(key.verifySign("data", text, HASH_ALGO_SHA256) || key.verifySign("data", text, HASH_ALGO_NONE))
            << text;
    }
    unsigned char byte = 0;
    for (int length : {0, 1, -1}) {
        EXPECT_FALSE(key.verifySign("data", &byte, length, HASH_ALGO_SHA256));
        EXPECT_FALSE(key.verifySign("data", nullptr, length, HASH_ALGO_SHA256));
    }
    EXPECT_FALSE(X509PublicKey(keyOf("ED25519"), false).verifySign("data", good, HASH_ALGO_SHA256));
    EXPECT_FALSE(X509PublicKey().verifySign("data", good, HASH_ALGO_SHA256));
    for (const _HASH_ALGO algorithm : {HASH_ALGO_MD5, _HASH_ALGO(5), _HASH_ALGO(-1)}) {
        fails("X509PublicKey::verifySign", {{[&] { key.verifySign("data", good, algorithm); },
                                             "-1 Failed to initialize signature.",
                                             {"Failed to initialize signature. SSL code = #"}}});
    }
}

TEST(PublicKey, TriesTheOfferedDigestsInOrder) {
    captureLog();
    const X509PublicKey key(keyOf("RSA-2048"), false);
    std::string signature = sign("RSA-2048", "data", EVP_sha1());
    int length = static_cast<int>(signature.size());
    const std::string log = publicKeyTag + "verifySign: ";
    const std::string checking = "4" + log + "Checking for Hash ";
    EXPECT_TRUE(key.verifySign("data", base64(signature), HASH_ALGO_NONE));
    EXPECT_TRUE(logged("*" + log, {checking + "[SHA256]", "16" + log + "Failed to verify signature. SSL code = #",
                                   checking + "[SHA1]", "2" + log + "Verified the Hash"}));
    EXPECT_FALSE(key.verifySign("x", reinterpret_cast<unsigned char*>(signature.data()), length, HASH_ALGO_NONE));
    const std::string failed = "16" + log + "digest/hash verification failed. SSL Error : Error - (*";
    EXPECT_TRUE(logged("*" + log, {checking + "[SHA256]", failed, checking + "[SHA1]", failed}));
}

} // namespace
