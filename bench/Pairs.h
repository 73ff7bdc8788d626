#ifndef CMNCRYPTO_BENCH_PAIRS_H
#define CMNCRYPTO_BENCH_PAIRS_H

// Each measured job exists twice under one name: "job/ours" through the library and "job/raw" through OpenSSL
// called in the best way, with algorithm, context and key schedule kept. The program prints their ratio.

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

#endif
