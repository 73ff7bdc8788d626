#include <memory>

#include <openssl/evp.h>

#include "Pairs.h"

using CmnCrypto::Encryption::CryptFactory;
using CmnCrypto::Encryption::KSCrypt;

namespace {

const std::string key(32, 'k');
const std::string iv(16, 'i');

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/** A context whose key schedule is kept; a message renews the IV only. */
class RawCbc {
public:
    explicit RawCbc(int encrypt) : m_encrypt(encrypt) {
        require(EVP_CipherInit_ex(m_context, m_type, nullptr, bytes(key), bytes(iv), encrypt) == 1, "raw init");
    }
    ~RawCbc() {
        EVP_CIPHER_CTX_free(m_context);
        EVP_CIPHER_free(m_type);
    }
    /** A whole stream in 64 KiB feeds, each into the same output. */
    size_t run(const unsigned char* in, size_t length, unsigned char* out) {
        bool worked = EVP_CipherInit_ex(m_context, nullptr, nullptr, nullptr, bytes(iv), m_encrypt) == 1;
        size_t total = 0;
        int produced = 0;
        for (size_t done = 0; done < length; done += feedLength) {
            worked = EVP_CipherUpdate(m_context, out, &produced, in + done,
                                      static_cast<int>(std::min(feedLength, length - done))) == 1 &&
                     worked;
            total += static_cast<size_t>(produced);
        }
        require(worked && EVP_CipherFinal_ex(m_context, out, &produced) == 1, "raw cipher");
        return total + static_cast<size_t>(produced);
    }

private:
    EVP_CIPHER* m_type = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    EVP_CIPHER_CTX* m_context = EVP_CIPHER_CTX_new();
    int m_encrypt;
};

void encryptRaw(benchmark::State& state) {
    const auto data = sample(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> out(feedLength + 32);
    RawCbc cbc(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cbc.run(data.data(), data.size(), out.data()));
    }
}

void encryptOurs(benchmark::State& state) {
    const auto data = sample(static_cast<size_t>(state.range(0)));
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_CBC_EVP, key, iv));
    for (auto _ : state) {
        runStream(*crypter, true, data);
    }
}

std::vector<unsigned char> ciphertextOf(size_t length) {
    const auto plain = sample(length);
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_CBC_EVP, key, iv));
    const unsigned char* out = nullptr;
    size_t outLength = 0;
    require(crypter->encrypt(plain.data(), plain.size(), true) == 0 && crypter->getEncryptedData(&out, &outLength) == 0,
            "preparing");
    return std::vector<unsigned char>(out, out + outLength);
}

void decryptRaw(benchmark::State& state) {
    const auto data = ciphertextOf(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> out(feedLength + 32);
    RawCbc cbc(0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cbc.run(data.data(), data.size(), out.data()));
    }
}

void decryptOurs(benchmark::State& state) {
    const auto data = ciphertextOf(static_cast<size_t>(state.range(0)));
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_CBC_EVP, key, iv));
    for (auto _ : state) {
        runStream(*crypter, false, data);
    }
}

} // namespace

PAIR("AES-256-CBC, 1 KiB message", encryptRaw, encryptOurs, 1024)
PAIR("AES-256-CBC encryption, 1 MiB", encryptRaw, encryptOurs, 1 << 20)
PAIR("AES-256-CBC encryption, 512 MiB", encryptRaw, encryptOurs, 512 << 20)
PAIR("AES-256-CBC decryption, 1 MiB", decryptRaw, decryptOurs, 1 << 20)
PAIR("AES-256-CBC decryption, 512 MiB", decryptRaw, decryptOurs, 512 << 20)
