#include <openssl/evp.h>

#include "Pairs.h"

namespace {

/** A digest and a context that are kept, as a program would that hashes often. */
struct RawHash {
    EVP_MD* type = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    ~RawHash() {
        EVP_MD_CTX_free(context);
        EVP_MD_free(type);
    }
};

void shortHexRaw(benchmark::State& state) {
    const RawHash hash;
    const auto data = sample(64);
    std::string hex;
    for (auto _ : state) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        require(EVP_DigestInit_ex(hash.context, hash.type, nullptr) == 1 &&
                    EVP_DigestUpdate(hash.context, data.data(), data.size()) == 1 &&
                    EVP_DigestFinal_ex(hash.context, digest, &length) == 1,
                "raw digest");
        hex.resize(2 * size_t{length});
        for (unsigned int i = 0; i < length; ++i) {
            hex[2 * i] = "0123456789abcdef"[digest[i] >> 4];
            hex[2 * i + 1] = "0123456789abcdef"[digest[i] & 15];
        }
        benchmark::DoNotOptimize(hex.data());
    }
}

void shortHexOurs(benchmark::State& state) {
    const auto data = sample(64);
    std::string hex;
    for (auto _ : state) {
        require(CmnCrypto::HashGenerator::generateHexHashForStr(reinterpret_cast<const char*>(data.data()), data.size(),
                                                                HASH_ALGO_SHA256, hex),
                "digest");
        benchmark::DoNotOptimize(hex.data());
    }
}

void streamRaw(benchmark::State& state) {
    const RawHash hash;
    const auto streamLength = static_cast<size_t>(state.range(0));
    const auto data = sample(feedLength);
    for (auto _ : state) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        bool worked = EVP_DigestInit_ex(hash.context, hash.type, nullptr) == 1;
        for (size_t done = 0; done < streamLength; done += data.size()) {
            worked = EVP_DigestUpdate(hash.context, data.data(), data.size()) == 1 && worked;
        }
        require(worked && EVP_DigestFinal_ex(hash.context, digest, nullptr) == 1, "raw digest");
        benchmark::DoNotOptimize(digest);
    }
}

void streamOurs(benchmark::State& state) {
    const auto streamLength = static_cast<size_t>(state.range(0));
    const auto data = sample(feedLength);
    std::string digest;
    for (auto _ : state) {
        CmnCrypto::HashGenerator hash(HASH_ALGO_SHA256);
        for (size_t done = 0; done < streamLength; done += data.size()) {
            hash.addData(data.data(), data.size());
        }
        hash.generateBinaryHash(digest);
        benchmark::DoNotOptimize(digest.data());
    }
}

} // namespace

PAIR("SHA-256, 64 bytes to hex", shortHexRaw, shortHexOurs, 64)
PAIR("SHA-256 stream, 1 MiB", streamRaw, streamOurs, 1 << 20)
PAIR("SHA-256 stream, 512 MiB", streamRaw, streamOurs, 512 << 20)
