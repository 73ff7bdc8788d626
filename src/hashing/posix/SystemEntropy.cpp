#include "hashing/SystemEntropy.h"

#include <algorithm>
#include <unistd.h>

namespace CmnCrypto {

bool readSystemEntropy(unsigned char* buffer, size_t length) noexcept {
    constexpr size_t largestRequest = 256; // what getentropy() takes
    for (size_t done = 0; done < length;) {
        const size_t piece = std::min(length - done, largestRequest);
        if (getentropy(buffer + done, piece) != 0) {
            return false;
        }
        done += piece;
    }
    return true;
}

} // namespace CmnCrypto
