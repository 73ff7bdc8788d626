#include "libwincertstore/DigestInfo.h"

#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

using WinCertStore::SignedDigest;

/** As OpenSSL encodes it. */
std::string digestInfo(const char* algorithm, const std::string& digest, int parameters = V_ASN1_NULL) {
    const std::unique_ptr<X509_SIG, decltype(&X509_SIG_free)> made(X509_SIG_new(), X509_SIG_free);
    X509_ALGOR* identifier = nullptr;
    ASN1_OCTET_STRING* value = nullptr;
    X509_SIG_getm(made.get(), &identifier, &value);
    X509_ALGOR_set0(identifier, OBJ_txt2obj(algorithm, 0), parameters, nullptr);
    ASN1_OCTET_STRING_set(value, bytes(digest), static_cast<int>(digest.size()));
    return written([&](BIO* out) { return ASN1_i2d_bio_of(X509_SIG, i2d_X509_SIG, out, made.get()); });
}

/** What is found: the algorithm and the digest; the whole and nothing else for none. */
std::pair<SignedDigest, std::string> taken(const std::string& data) {
    const auto found = WinCertStore::takeApart(bytes(data), static_cast<uint32_t>(data.size()));
    return {found.algorithm, std::string(found.digest, found.digest + found.length)};
}
bool isNone(const std::string& data) {
    return taken(data) == std::pair(SignedDigest::none, data);
}

TEST(DigestInfo, IsTakenApart) {
    for (const auto& [name, algorithm, size] : {std::tuple{"SHA1", SignedDigest::sha1, 20U},
                                                {"SHA224", SignedDigest::sha224, 28U},
                                                {"SHA256", SignedDigest::sha256, 32U},
                                                {"SHA384", SignedDigest::sha384, 48U},
                                                {"SHA512", SignedDigest::sha512, 64U}}) {
        const std::string digest = pseudoRandom(size, 1);
        const std::string whole = digestInfo(name, digest);
        EXPECT_EQ(taken(whole), std::pair(algorithm, digest)) << name;
        EXPECT_TRUE(isNone(digestInfo(name, digest, V_ASN1_UNDEF)) && isNone(digestInfo(name, digest + "x")));
        EXPECT_TRUE(isNone(whole + '\0') && isNone(digestInfo(name, digest.substr(1))) && isNone(digest));
        for (size_t length = 0; length < whole.size(); ++length) {
            std::string altered = whole;
            altered[length] ^= 1;
            EXPECT_EQ(taken(altered).first == algorithm, length >= whole.size() - size) << length;
            EXPECT_TRUE(isNone(whole.substr(0, length)));
        }
    }
    for (const char* const name : {"MD5", "SHA512-224", "SHA512-256", "SHA3-256", "RIPEMD160"}) {
        EXPECT_TRUE(isNone(digestInfo(name, pseudoRandom(32, 2))) && isNone(digestInfo(name, pseudoRandom(20, 2))));
    }
    EXPECT_TRUE(isNone(pseudoRandom(36, 3)) && isNone(""));
}

} // namespace
