#include <memory>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "Pairs.h"

using CmnCrypto::Encryption::CryptFactory;
using CmnCrypto::Encryption::KSCrypt;

namespace {

const std::string key(32, 'k');
constexpr size_t ivLength = 12;
constexpr size_t tagLength = 16;
/** A context whose key schedule is kept; a message renews the IV only. */
class RawGcm {
public:
    explicit RawGcm(int encrypt) : m_encrypt(encrypt) {
        require(EVP_CipherInit_ex(m_context, m_type, nullptr, reinterpret_cast<const unsigned char*>(key.data()),
                                  nullptr, encrypt) == 1,
                "raw init");
    }
    ~RawGcm() {
        EVP_CIPHER_CTX_free(m_context);
        EVP_CIPHER_free(m_type);
    }
    void start(const unsigned char* iv) {
        require(EVP_CipherInit_ex(m_context, nullptr, nullptr, nullptr, iv, m_encrypt) == 1, "raw IV");
    }
    void feed(const unsigned char* in, size_t length, unsigned char* out) {
        int produced = 0;
        require(EVP_CipherUpdate(m_context, out, &produced, in, static_cast<int>(length)) == 1, "raw update");
    }
    void tag(unsigned char* out) {
        int produced = 0;
        require(EVP_CipherFinal_ex(m_context, out, &produced) == 1 &&
                    EVP_CIPHER_CTX_ctrl(m_context, EVP_CTRL_AEAD_GET_TAG, tagLength, out) == 1,
                "raw tag");
    }
    void checkTag(unsigned char* tag) {
        unsigned char none[tagLength];
        int produced = 0;
        require(EVP_CIPHER_CTX_ctrl(m_context, EVP_CTRL_AEAD_SET_TAG, tagLength, tag) == 1 &&
                    EVP_CipherFinal_ex(m_context, none, &produced) == 1,
                "raw tag check");
    }

private:
    EVP_CIPHER* m_type = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
    EVP_CIPHER_CTX* m_context = EVP_CIPHER_CTX_new();
    int m_encrypt;
};

/** A whole stream, IV to tag, made by OpenSSL alone. */
std::vector<unsigned char> streamOf(size_t length) {
    std::vector<unsigned char> stream = sample(ivLength + length + tagLength);
    RawGcm gcm(1);
    gcm.start(stream.data());
    for (size_t done = 0; done < length; done += feedLength) {
        unsigned char* place = stream.data() + ivLength + done;
        gcm.feed(place, std::min(feedLength, length - done), place);
    }
    gcm.tag(stream.data() + ivLength + length);
    return stream;
}

void encryptRaw(benchmark::State& state) {
    const auto data = sample(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> out(feedLength + tagLength);
    RawGcm gcm(1);
    for (auto _ : state) {
        unsigned char iv[ivLength];
        require(RAND_bytes(iv, ivLength) == 1, "random");
        gcm.start(iv);
        for (size_t done = 0; done < data.size(); done += feedLength) {
            gcm.feed(data.data() + done, std::min(feedLength, data.size() - done), out.data());
        }
        gcm.tag(out.data());
        benchmark::DoNotOptimize(out.data());
    }
}

void encryptOurs(benchmark::State& state) {
    const auto data = sample(static_cast<size_t>(state.range(0)));
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_GCM, key, ""));
    for (auto _ : state) {
        runStream(*crypter, true, data);
    }
}

void decryptRaw(benchmark::State& state) {
    auto stream = streamOf(static_cast<size_t>(state.range(0)));
    const size_t length = stream.size() - ivLength - tagLength;
    for (auto _ : state) {
        // Memory of its own for each stream, as a caller needs who keeps the plaintext back.
        const std::unique_ptr<unsigned char[]> plain(new unsigned char[length]);
        RawGcm gcm(0);
        gcm.start(stream.data());
        for (size_t done = 0; done < length; done += feedLength) {
            gcm.feed(stream.data() + ivLength + done, std::min(feedLength, length - done), plain.get() + done);
        }
        gcm.checkTag(stream.data() + ivLength + length);
        benchmark::DoNotOptimize(plain.get());
    }
}

void decryptOurs(benchmark::State& state) {
    const auto stream = streamOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_GCM, key, ""));
        bool worked = true;
        for (size_t done = 0; done < stream.size(); done += feedLength) {
            const size_t piece = std::min(feedLength, stream.size() - done);
            worked = crypter->decrypt(stream.data() + done, piece, done + piece == stream.size()) == 0 && worked;
        }
        const unsigned char* out = nullptr;
        size_t length = 0;
        require(worked && crypter->getDecryptedData(&out, &length) == 0, "decryption");
        benchmark::DoNotOptimize(out);
    }
}

} // namespace

PAIR("AES-256-GCM, 1 KiB message", encryptRaw, encryptOurs, 1024)
PAIR("AES-256-GCM encryption, 1 MiB", encryptRaw, encryptOurs, 1 << 20)
PAIR("AES-256-GCM encryption, 512 MiB", encryptRaw, encryptOurs, 512 << 20)
PAIR("AES-256-GCM decryption, 1 MiB", decryptRaw, decryptOurs, 1 << 20)
PAIR("AES-256-GCM decryption, 512 MiB", decryptRaw, decryptOurs, 512 << 20)
