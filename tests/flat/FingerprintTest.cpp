#include <openssl/evp.h>
#include <openssl/x509.h>

#include "testlib/Testlib.h"

namespace {

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

Certificate makeCertificate() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    Certificate certificate(X509_new(), X509_free);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    return certificate;
}

std::string rawDigest(const Certificate& certificate, _HASH_ALGO algorithm) {
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
    const Certificate certificate = makeCertificate();
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
    const Certificate certificate = makeCertificate();
    const std::string text = display(rawDigest(certificate, HASH_ALGO_SHA1));
    char out[100];
    captureLog();
    EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate.get(), HASH_ALGO_SHA1, out, 5), 0);
    const std::string tag = "2 - cmncrypto_generateHashForDisplay: ";
    EXPECT_TRUE(logged(tag, {tag + "Calling generateHash for Hash algo:3", tag + "Fingerprint value:" + text,
                             tag + "Fingerprint value to be returned:" + text.substr(0, 5)}));
}

TEST(Fingerprint, Refused) {
    const Certificate certificate = makeCertificate();
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

TEST(Certificate, CopiesAreEmptyAndOwnershipIsAsTold) {
    X509* raw = makeCertificate().release();
    const X509Certificate owner(raw, true);
    X509Certificate copy(owner);
    EXPECT_EQ(owner.getX509(), raw);
    EXPECT_EQ(copy.getX509(), nullptr);
    EXPECT_EQ(thrown([&copy] { copy.generateHash(HASH_ALGO_SHA256); }).substr(0, 3), "20 ");
}

} // namespace
