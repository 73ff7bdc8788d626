#include "hashing/Password.h"

#include <cstring>

#include "hashing/SeededRandom.h"

namespace CmnCrypto {

void writePassword(char* out, int size) noexcept {
    constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890";
    constexpr uint32_t letters = sizeof alphabet - 1;
    if (out == nullptr || size <= 0) {
        return;
    }
    std::memset(out, 0, static_cast<size_t>(size));
    for (int i = 0; i < size - 1; ++i) {
        // The plain remainder favours the first letters by a part in 2^26; that is accepted.
        out[i] = alphabet[seededRandom32() % letters];
    }
}

} // namespace CmnCrypto
