#include "hashing/SeededRandom.h"

#include "hashing/SystemEntropy.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

void seedIfNeeded() noexcept {
    if (RAND_status() == 1) {
        return;
    }
    unsigned char seed[1024];
    // Without it the next draw relies on OpenSSL alone.
    if (readSystemEntropy(seed, sizeof seed)) {
        RAND_seed(seed, sizeof seed);
    }
    OPENSSL_cleanse(seed, sizeof seed);
}

} // namespace

uint32_t seededRandom32() noexcept {
    seedIfNeeded();
    uint32_t number = 0;
    if (!fillRandom(reinterpret_cast<unsigned char*>(&number), sizeof number)) {
        ossl::clearErrors();
        return 0;
    }
    const uint32_t result = number;
    OPENSSL_cleanse(&number, sizeof number); // it may become a letter of a password
    return result;
}

bool fillRandom(unsigned char* buffer, int length) noexcept {
    return (buffer != nullptr || length == 0) && RAND_bytes(buffer, length) == 1;
}

} // namespace CmnCrypto
