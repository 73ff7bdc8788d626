#include "frame/NumberText.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "ossl/ErrorQueue.h"

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

void toDecimal(const unsigned char* data, size_t length, std::string& out) {
    struct Wipe {
        void operator()(char* text) const { OPENSSL_clear_free(text, std::strlen(text)); }
    };
    out = "0";
    if (data == nullptr || length == 0) {
        return;
    }
    const OpenSslPtr<BIGNUM> number(length > INT_MAX ? nullptr : BN_bin2bn(data, static_cast<int>(length), nullptr));
    const std::unique_ptr<char, Wipe> digits(number ? BN_bn2dec(number.get()) : nullptr);
    if (!digits) {
        ossl::clearErrors();
        throw std::bad_alloc();
    }
    out = digits.get();
}

} // namespace CmnCrypto
