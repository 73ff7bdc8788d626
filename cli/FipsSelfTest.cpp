#include "FipsSelfTest.h"

#include <exception>
#include <functional>
#include <memory>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include "OpenSslOwner.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CryptFactory.h"
#include "cmncrypto/HashGenerator.h"
#include "cmncrypto/RandomNumberGenerator.h"
#include "cmncrypto/X509PrivateKey.h"
#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

namespace {

using Encryption::CryptFactory;
using Encryption::KSCrypt;
using OwnedProvider = Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload>;

const std::string message = "abc";

// The digests of "abc" are the examples of FIPS 180.
constexpr char sha256OfMessage[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr char sha512OfMessage[] = "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                   "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f";
constexpr char sha1OfMessage[] = "a9993e364706816aba3e25717850c26c9cd0d89d";

// NIST SP 800-38A, F.2.5, the first block.
constexpr char cbcKey[] = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
constexpr char cbcIv[] = "000102030405060708090a0b0c0d0e0f";
constexpr char cbcPlaintext[] = "6bc1bee22e409f96e93d7e117393172a";
constexpr char cbcCiphertext[] = "f58c4c04d6e5f1ba779eabfb5f7bfbd6";

// The GCM specification's test case 14: key, IV and plaintext of zeros. The stream is IV, ciphertext and tag.
constexpr char gcmCiphertext[] = "cea7403d4d606b6e074ec5d3baf39d18";
constexpr char gcmTag[] = "d0d1c8a799996bf0265b98b5d48ab919";

// The signature of "abc" with SHA-256 by a key that was made for it and thrown away.
constexpr char signer[] = "-----BEGIN PUBLIC KEY-----\n"
                          "MIIBIjANBgkqhkiG9w0BAQEFAAOCAQ8AMIIBCgKCAQEAqBY82+KIaEDeAmzX6OEC\n"
                          "8gVBIMnFicjNdDWC7O1ky9uXib5A4mRwa0UV8AfRNWAO9Q25ABLfDUTuYo+N2WzB\n"
                          "DCNVboOP9rbaUWA0brPTcK8BYK5mwGSL6E1sXabOXpzY3rhGfph0hJTbRjqAXZxu\n"
                          "xc8+XPrUgqWjiEIvsQEPmHLeMJ27c0AicDfpzrcb6tWyNHv9xXGoZjMhEl86yj7h\n"
                          "YptfV3/qEfIu7HsXprlKbY/M1RX8v2+fNe4/U7ZLZeOZOpucgNzTyNqrQznz2lti\n"
                          "RkAlywJX7tJFL4WwK+UqEujfFC7m3z/m7G2f9CLQCgisEp1h09PaCqfGLrFu7bUl\n"
                          "nwIDAQAB\n"
                          "-----END PUBLIC KEY-----\n";
constexpr char signature[] =
    "FEYfGKKZl6TwKsLlJxNVsDNcnZQX9+m5jgYj0OH4GzgYKF7vpD1ALepIyIrbGZtPKN5tHYU8fFc5n8JAByeQNLYjbrbn4ECZ6oS4"
    "gGZOqMMcuNKR5ZFvm5WFSsWse0gH29Qy3GQf/VO+RaN7YsmLtnMC/4ogKhREZHJAMV+EoAXHAPIyjYrb4bp0+KPP8A0OKKsPjfHh"
    "mj8fYiW3kEh52c6gMkA6lmBvelJqYY0lIkpbeAbhIVM4AWj+E9KJ619O9NRdeXDzEsGOa7sfSTvEQxodmrIRInJin/54+3auYTFf"
    "tV6+3A2yTj8ZGYzVgqZEXZHHgkVcN3XRuLth15xxsA==";

std::string fromHex(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

bool digestIs(_HASH_ALGO algorithm, const char* expected) {
    std::string digest;
    HashGenerator::generateHexHashForStr(message.data(), message.size(), algorithm, digest);
    return digest == expected;
}

bool cbcIsKnown() {
    const std::unique_ptr<KSCrypt> crypter(
        CryptFactory::createCrypter(KSCrypt::AES_256_CBC_EVP, fromHex(cbcKey), fromHex(cbcIv)));
    const std::string plaintext = fromHex(cbcPlaintext);
    const unsigned char* out = nullptr;
    size_t length = 0;
    return crypter->encrypt(bytesOf(plaintext), plaintext.size(), true) == 0 &&
           crypter->getEncryptedData(&out, &length) == 0 && length == 2 * plaintext.size() && // a block of padding
           std::string(out, out + plaintext.size()) == fromHex(cbcCiphertext);
}

bool gcmIsKnown() {
    const std::unique_ptr<KSCrypt> crypter(
        CryptFactory::createCrypter(KSCrypt::AES_256_GCM, std::string(32, '\0'), ""));
    const std::string stream = std::string(12, '\0') + fromHex(gcmCiphertext) + fromHex(gcmTag);
    const unsigned char* out = nullptr;
    size_t length = 0;
    return crypter->decrypt(bytesOf(stream), stream.size(), true) == 0 &&
           crypter->getDecryptedData(&out, &length) == 0 && std::string(out, out + length) == std::string(16, '\0');
}

bool gcmRefusesAlteredStream() {
    constexpr int notAuthentic = 1270;
    const std::unique_ptr<KSCrypt> crypter(
        CryptFactory::createCrypter(KSCrypt::AES_256_GCM, std::string(32, '\0'), ""));
    std::string stream = std::string(12, '\0') + fromHex(gcmCiphertext) + fromHex(gcmTag);
    stream.back() = static_cast<char>(stream.back() ^ 1);
    return crypter->decrypt(bytesOf(stream), stream.size(), true) == notAuthentic;
}

/** Random bytes have no known answer: what can be known is who makes them, and that it does. */
bool generatorIsFips() {
    std::string draws[2];
    for (std::string& draw : draws) {
        unsigned char bytes[32] = {};
        RandomNumberGenerator::generateRandomBytes(bytes, sizeof bytes);
        draw.assign(bytes, bytes + sizeof bytes);
    }
    EVP_RAND_CTX* const generator = RAND_get0_public(nullptr);
    return draws[0] != draws[1] && generator != nullptr &&
           std::string("fips") == OSSL_PROVIDER_get0_name(EVP_RAND_get0_provider(EVP_RAND_CTX_get0_rand(generator)));
}

bool signatureIsKnown() {
    const X509PublicKey key(signer);
    return key.verifySign(message, signature, HASH_ALGO_SHA256) && !key.verifySign("abd", signature, HASH_ALGO_SHA256);
}

bool newKeySigns() {
    EVP_PKEY* made = nullptr;
    X509PrivateKey::generatePrivateKey(2048, &made);
    const OwnedKey owner(made);
    const std::string own = X509PrivateKey(made, false).getSign(message, HASH_ALGO_SHA256);
    return X509PublicKey(made, false).verifySign(message, own, HASH_ALGO_SHA256);
}

bool providerTestsItself() {
    const OwnedProvider provider(OSSL_PROVIDER_try_load(nullptr, "fips", 1));
    const bool passed = provider && OSSL_PROVIDER_self_test(provider.get()) == 1;
    ERR_clear_error();
    return passed;
}

struct Check {
    const char* name = nullptr;
    std::function<bool()> passes;
};

} // namespace

std::vector<SelfTestResult> runFipsSelfTest() {
    const Check checks[] = {
        {"self test of the FIPS provider", providerTestsItself},
        {"MD5 is refused", [] { return CmnApi::testFipsCompliance() != 0; }},
        {"digest SHA-256", [] { return digestIs(HASH_ALGO_SHA256, sha256OfMessage); }},
        {"digest SHA-512", [] { return digestIs(HASH_ALGO_SHA512, sha512OfMessage); }},
        {"digest SHA-1", [] { return digestIs(HASH_ALGO_SHA1, sha1OfMessage); }},
        {"cipher AES-256-CBC", cbcIsKnown},
        {"cipher AES-256-GCM", gcmIsKnown},
        {"AES-256-GCM refuses an altered stream", gcmRefusesAlteredStream},
        {"random generator of the FIPS provider", generatorIsFips},
        {"signature RSA with SHA-256", signatureIsKnown},
        {"new RSA key signs", newKeySigns},
    };
    std::vector<SelfTestResult> results;
    for (const Check& check : checks) {
        bool passed = false;
        try {
            passed = check.passes();
        } catch (const std::exception&) {
            passed = false; // the library's log says why
        }
        results.push_back({check.name, passed});
    }
    return results;
}

} // namespace CmnCrypto::Cli
