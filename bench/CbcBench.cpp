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
    size_t run(const unsigned char* in, size_t length, size_t feed, unsigned char* out) {
        bool worked = EVP_CipherInit_ex(m_context, nullptr, nullptr, nullptr, bytes(iv), m_encrypt) == 1;
        size_t total = 0;
        int produced = 0;
        for (size_t done = 0; done < length; done += feed) {
            worked = EVP_CipherUpdate(m_context, out + total, &produced, in + done,
                                      static_cast<int>(std::min(feed, length - done))) == 1 &&
                     worked;
            total += static_cast<size_t>(produced);
        }
        require(worked && EVP_CipherFinal_ex(m_context, out + total, &produced) == 1, "raw cipher");
        return total + static_cast<size_t>(produced);
    }

private:
    EVP_CIPHER* m_type = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    EVP_CIPHER_CTX* m_context = EVP_CIPHER_CTX_new();
    int m_encrypt;
};

void encryptRaw(benchmark::State& state) {
    const auto data = sample(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> out(data.size() + 32);
    RawCbc cbc(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cbc.run(data.data(), data.size(), feedLength, out.data()));
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
    std::vector<unsigned char> out(length + 32);
    out.resize(RawCbc(1).run(plain.data(), plain.size(), feedLength, out.data()));
    return out;
}

void decryptRaw(benchmark::State& state) {
    const auto data = ciphertextOf(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> out(data.size() + 32);
    RawCbc cbc(0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cbc.run(data.data(), data.size(), feedLength, out.data()));
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

BENCHMARK(encryptRaw)->Name("AES-256-CBC, 1 KiB message/raw")->Arg(1024);
BENCHMARK(encryptOurs)->Name("AES-256-CBC, 1 KiB message/ours")->Arg(1024);
BENCHMARK(encryptRaw)->Name("AES-256-CBC encryption, 8 MiB in 64 KiB feeds/raw")->Arg(8 << 20);
BENCHMARK(encryptOurs)->Name("AES-256-CBC encryption, 8 MiB in 64 KiB feeds/ours")->Arg(8 << 20);
BENCHMARK(decryptRaw)->Name("AES-256-CBC decryption, 8 MiB in 64 KiB feeds/raw")->Arg(8 << 20);
BENCHMARK(decryptOurs)->Name("AES-256-CBC decryption, 8 MiB in 64 KiB feeds/ours")->Arg(8 << 20);
