#include "encryption/GcmStream.h"

#include <algorithm>

namespace CmnCrypto::Encryption {

bool feedAuthenticatedData(GcmUpdate update, EVP_CIPHER_CTX* context, const unsigned char* data, size_t length) {
    while (length > 0) {
        const size_t piece = std::min(length, gcmLargestPiece);
        int unused = 0;
        if (update(context, nullptr, &unused, data, static_cast<int>(piece)) != 1) {
            return false;
        }
        data += piece;
        length -= piece;
    }
    return true;
}

} // namespace CmnCrypto::Encryption
