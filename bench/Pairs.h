#ifndef CMNCRYPTO_BENCH_PAIRS_H
#define CMNCRYPTO_BENCH_PAIRS_H

// Each measured job exists twice under one name: "job/ours" through the library and "job/raw" through OpenSSL
// called in the best way, with algorithm, context and key schedule kept. The program prints their ratio.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "cmncrypto/cmncrypto.hpp"

/** Bytes that do not compress into anything special. */
inline std::vector<unsigned char> sample(size_t length) {
    std::vector<unsigned char> bytes(length);
    unsigned state = 12345;
    for (unsigned char& byte : bytes) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<unsigned char>(state >> 16);
    }
    return bytes;
}

/** Stops the run when a measured call does not do its work: a failure is fast and would look like a success. */
inline void require(bool worked, const char* what) {
    if (!worked) {
        std::fprintf(stderr, "benchmark: %s failed\n", what);
        std::abort();
    }
}

/** Registers a job of a size in bytes; one iteration of a long one is a measurement of its own. */
#define PAIR(job, raw, ours, size)                                                                                     \
    BENCHMARK(raw)->Name(job "/raw")->Arg(size)->Iterations(iterationsFor(size));                                      \
    BENCHMARK(ours)->Name(job "/ours")->Arg(size)->Iterations(iterationsFor(size));

/** Registers a job that is not about bytes, with the number of its runs that make one measurement. */
#define COUNTED_PAIR(job, raw, ours, count)                                                                            \
    BENCHMARK(raw)->Name(job "/raw")->Iterations(count);                                                               \
    BENCHMARK(ours)->Name(job "/ours")->Iterations(count);

/** As many as move 128 MiB, within reason. */
constexpr benchmark::IterationCount iterationsFor(int64_t size) {
    return std::max(int64_t{1}, std::min(int64_t{100000}, (int64_t{128} << 20) / size));
}

constexpr size_t feedLength = size_t{64} << 10;

/** One whole stream in 64 KiB feeds through one direction of a crypter, the output taken after each. */
inline void runStream(CmnCrypto::Encryption::KSCrypt& crypter, bool encrypting,
                      const std::vector<unsigned char>& data) {
    bool worked = (encrypting ? crypter.encryptReset() : crypter.decryptReset()) == 0;
    for (size_t done = 0; done < data.size(); done += feedLength) {
        const unsigned char* piece = data.data() + done;
        const size_t length = std::min(feedLength, data.size() - done);
        const bool last = done + length == data.size();
        const unsigned char* out = nullptr;
        size_t outLength = 0;
        worked = encrypting ? crypter.encrypt(piece, length, last) == 0 &&
                                  crypter.getEncryptedData(&out, &outLength) == 0 && worked
                            : crypter.decrypt(piece, length, last) == 0 &&
                                  crypter.getDecryptedData(&out, &outLength) == 0 && worked;
        benchmark::DoNotOptimize(out);
    }
    require(worked, "the stream");
}

#endif
