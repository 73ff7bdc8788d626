#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

std::string rawDigest(const Owned<X509>& certificate, _HASH_ALGO algorithm) {
    const EVP_MD* digests[] = {nullptr, EVP_sha256(), EVP_sha512(), EVP_sha1()};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    X509_digest(certificate.get(), digests[algorithm], digest, &length);
    return std::string(digest, digest + length);
}

std::string display(const std::string& digest) {
    std::string text = toHex(digest);
    std::transform(text.begin(), text.end(), text.begin(), ::toupper);
    for (size_t at = 2; at < text.size(); at += 3) {
        text.insert(at, ":");
    }
    return text;
}

TEST(Fingerprint, AgreesWithOpenSslForEveryAlgorithmAndSize) {
    const Owned<X509> certificate = makeCertificate();
    for (const _HASH_ALGO algorithm : {HASH_ALGO_SHA256, HASH_ALGO_SHA512, HASH_ALGO_SHA1}) {
        const std::string digest = rawDigest(certificate, algorithm);
        const std::string text = display(digest);
        EXPECT_EQ(X509Certificate(certificate.get(), false).generateHash(algorithm), text);
        for (const size_t size : {size_t{0}, size_t{10}, text.size() - 1, text.size(), text.size() + 1, size_t{300}}) {
            std::string out(size + 2, '#');
            EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate.get(), algorithm, out.data(), size), 0);
            const size_t copied = std::min(size, text.size());
            std::string expected = text.substr(0, copied) + '\0'; // directly after what was copied
            expected.resize(size + 2, '#');
            EXPECT_EQ(out, expected);
        }
        for (const size_t size : {size_t{0}, digest.size(), size_t{100}}) {
            std::string out(std::max(size, digest.size()) + 1, '#');
            auto* target = reinterpret_cast<unsigned char*>(out.data());
            EXPECT_EQ(cmncrypto_generateHashInBin(certificate.get(), algorithm, target, size), 0);
            std::string expected = digest; // the whole digest whatever the size, zeros behind it
            expected.resize(out.size() - 1);
            EXPECT_EQ(out, expected + '#');
        }
    }
}

TEST(Fingerprint, LogTexts) {
    const Owned<X509> certificate = makeCertificate();
    const std::string text = display(rawDigest(certificate, HASH_ALGO_SHA1));
    char out[100];
    captureLog();
    EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate.get(), HASH_ALGO_SHA1, out, 5), 0);
    const std::string tag = "2 - cmncrypto_generateHashForDisplay: ";
    EXPECT_TRUE(logged(tag, {tag + "Calling generateHash for Hash algo:3", tag + "Fingerprint value:" + text,
                             tag + "Fingerprint value to be returned:" + text.substr(0, 5)}));
}

TEST(Fingerprint, Refused) {
    const Owned<X509> certificate = makeCertificate();
    const std::string null = ": Out parameter of fingerprint cannot be null and must be of sufficient size";
    const std::string calling = ": Calling generateHash for Hash algo:3";
    char text[200];
    unsigned char raw[64];
    captureLog();
    EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate.get(), HASH_ALGO_SHA1, nullptr, 5), 20);
    EXPECT_EQ(cmncrypto_generateHashInBin(certificate.get(), HASH_ALGO_SHA1, nullptr, 5), 20);
    EXPECT_TRUE(
        logged({"2 - cmncrypto_generateHashForDisplay" + calling, "16 - cmncrypto_generateHashForDisplay" + null,
                "2 - cmncrypto_generateHashInBin" + calling, "16 - cmncrypto_generateHashInBin" + null}));
    EXPECT_EQ(cmncrypto_generateHashForDisplay(nullptr, HASH_ALGO_SHA1, text, 100), 20);
    EXPECT_EQ(cmncrypto_generateHashInBin(nullptr, HASH_ALGO_SHA1, raw, sizeof raw), 20);
    EXPECT_EQ(cmncrypto_generateHashInBin(certificate.get(), HASH_ALGO_MD5, raw, sizeof raw), 20);
    for (const _HASH_ALGO algorithm : noAlgorithms) {
        EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate.get(), algorithm, text, 100), 20) << algorithm;
        EXPECT_EQ(cmncrypto_generateHashInBin(certificate.get(), algorithm, raw, sizeof raw), 20) << algorithm;
    }
}

} // namespace
