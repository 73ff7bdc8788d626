#include "frame/Hex.h"

namespace CmnCrypto {

void toHex(const unsigned char* data, size_t length, std::string& out) {
    constexpr const char* digits = "0123456789abcdef";
    out.resize(2 * length);
    char* next = out.data();
    for (size_t i = 0; i < length; ++i) {
        *next++ = digits[data[i] >> 4];
        *next++ = digits[data[i] & 0x0f];
    }
}

} // namespace CmnCrypto
