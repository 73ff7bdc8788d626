// Private keys out of PEM, and signatures.

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "Material.h"
#include "Pairs.h"

namespace {

constexpr size_t messageLength = 1024;

std::string message() {
    const auto bytes = sample(messageLength);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string toBase64(const unsigned char* data, size_t length) {
    std::string text(4 * ((length + 2) / 3) + 1, '\0');
    text.resize(static_cast<size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data, static_cast<int>(length))));
    return text;
}

/** Digest context and key context that are kept, as a program would that signs or verifies often with one key. */
class RawSigner {
public:
    explicit RawSigner(int (*init)(EVP_PKEY_CTX*)) {
        require(init(m_context.get()) == 1 && EVP_PKEY_CTX_set_rsa_padding(m_context.get(), RSA_PKCS1_PADDING) == 1 &&
                    EVP_PKEY_CTX_set_signature_md(m_context.get(), m_sha256.get()) == 1,
                "raw key context");
    }

    std::string sign(const std::string& data) {
        digest(data);
        unsigned char signature[256];
        size_t length = sizeof signature;
        require(EVP_PKEY_sign(m_context.get(), signature, &length, m_digest, m_length) == 1, "raw signature");
        return toBase64(signature, length);
    }

    bool verify(const std::string& data, const std::string& base64) {
        unsigned char signature[258]; // two bytes of padding
        require(EVP_DecodeBlock(signature, reinterpret_cast<const unsigned char*>(base64.data()),
                                static_cast<int>(base64.size())) == sizeof signature,
                "raw Base64");
        digest(data);
        return EVP_PKEY_verify(m_context.get(), signature, 256, m_digest, m_length) == 1;
    }

private:
    void digest(const std::string& data) {
        require(EVP_DigestInit_ex(m_digestContext.get(), m_sha256.get(), nullptr) == 1 &&
                    EVP_DigestUpdate(m_digestContext.get(), data.data(), data.size()) == 1 &&
                    EVP_DigestFinal_ex(m_digestContext.get(), m_digest, &m_length) == 1,
                "raw digest");
    }

    Owned<EVP_MD> m_sha256{EVP_MD_fetch(nullptr, "SHA256", nullptr)};
    Owned<EVP_MD_CTX> m_digestContext{EVP_MD_CTX_new()};
    Owned<EVP_PKEY_CTX> m_context{EVP_PKEY_CTX_new(keyMaterial().key.get(), nullptr)};
    unsigned char m_digest[EVP_MAX_MD_SIZE] = {};
    unsigned int m_length = 0;
};

void signRaw(benchmark::State& state) {
    const std::string data = message();
    RawSigner signer(EVP_PKEY_sign_init);
    for (auto _ : state) {
        benchmark::DoNotOptimize(signer.sign(data));
    }
}

void signOurs(benchmark::State& state) {
    const std::string data = message();
    const CmnCrypto::X509PrivateKey key(keyMaterial().key.get(), false);
    require(key.getSign(data, HASH_ALGO_SHA256) == RawSigner(EVP_PKEY_sign_init).sign(data), "comparing both sides");
    for (auto _ : state) {
        benchmark::DoNotOptimize(key.getSign(data, HASH_ALGO_SHA256));
    }
}

void verifyRaw(benchmark::State& state) {
    const std::string data = message();
    const std::string signature = RawSigner(EVP_PKEY_sign_init).sign(data);
    RawSigner verifier(EVP_PKEY_verify_init);
    for (auto _ : state) {
        require(verifier.verify(data, signature), "raw verification");
    }
}

void verifyOurs(benchmark::State& state) {
    const std::string data = message();
    const std::string signature = RawSigner(EVP_PKEY_sign_init).sign(data);
    const CmnCrypto::X509PublicKey key(keyMaterial().key.get(), false);
    for (auto _ : state) {
        require(key.verifySign(data, signature, HASH_ALGO_SHA256), "verification");
    }
}

/** A decoder that is kept: setting one up for each key is what makes OpenSSL's plain calls slow. */
class RawLoader {
public:
    RawLoader(const char* armour, const char* structure)
        : m_armour(armour), m_context(OSSL_DECODER_CTX_new_for_pkey(&m_made, "DER", structure, "RSA", EVP_PKEY_KEYPAIR,
                                                                    nullptr, nullptr)) {}

    Owned<EVP_PKEY> load(const std::string& pem) {
        const Owned<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        unsigned char* der = nullptr;
        long length = 0;
        require(PEM_bytes_read_bio(&der, &length, nullptr, m_armour, bio.get(), nullptr, nullptr) == 1, "raw PEM");
        const unsigned char* position = der;
        auto rest = static_cast<size_t>(length);
        m_made = nullptr;
        require(OSSL_DECODER_from_data(m_context.get(), &position, &rest) == 1, "raw decoder");
        OPENSSL_clear_free(der, static_cast<size_t>(length));
        return Owned<EVP_PKEY>(std::exchange(m_made, nullptr));
    }

private:
    const char* m_armour;
    EVP_PKEY* m_made = nullptr;
    Owned<OSSL_DECODER_CTX> m_context;
};

void loadRaw(benchmark::State& state, const char* armour, const char* structure, const std::string& pem) {
    RawLoader loader(armour, structure);
    require(EVP_PKEY_eq(loader.load(pem).get(), keyMaterial().key.get()) == 1, "the raw key");
    for (auto _ : state) {
        benchmark::DoNotOptimize(loader.load(pem));
    }
}

void loadOurs(benchmark::State& state, const std::string& pem) {
    const CmnCrypto::X509PrivateKey first(pem, "");
    require(EVP_PKEY_eq(first.getEVPKey(), keyMaterial().key.get()) == 1, "the key");
    for (auto _ : state) {
        const CmnCrypto::X509PrivateKey key(pem, "");
        benchmark::DoNotOptimize(key.getEVPKey());
    }
}

void loadPkcs8Raw(benchmark::State& state) {
    loadRaw(state, PEM_STRING_PKCS8INF, "PrivateKeyInfo", keyMaterial().pkcs8);
}

void loadPkcs8Ours(benchmark::State& state) {
    loadOurs(state, keyMaterial().pkcs8);
}

void loadPkcs1Raw(benchmark::State& state) {
    loadRaw(state, PEM_STRING_RSA, "type-specific", keyMaterial().pkcs1);
}

void loadPkcs1Ours(benchmark::State& state) {
    loadOurs(state, keyMaterial().pkcs1);
}

} // namespace

COUNTED_PAIR("signature of 1 KiB, RSA-2048, to Base64", signRaw, signOurs, 50)
COUNTED_PAIR("verification of 1 KiB, RSA-2048, from Base64", verifyRaw, verifyOurs, 1000)
COUNTED_PAIR("RSA-2048 key from PKCS#8 PEM", loadPkcs8Raw, loadPkcs8Ours, 1000)
COUNTED_PAIR("RSA-2048 key from PKCS#1 PEM", loadPkcs1Raw, loadPkcs1Ours, 1000)
