#include "cmncrypto/RandomNumberGenerator.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* numberTag = "RandomNumberGenerator::generateRandomNumber";

/** Wipes the library's copies of a random number on every way out. */
class Wiped {
public:
    explicit Wiped(int count) : m_size(static_cast<size_t>(count)), m_bytes(new (std::nothrow) unsigned char[m_size]) {}
    ~Wiped() {
        if (m_bytes) {
            OPENSSL_cleanse(m_bytes.get(), m_size);
        }
        OPENSSL_cleanse(text.data(), text.size());
    }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

    unsigned char* bytes() const { return m_bytes.get(); }
    size_t size() const { return m_size; }

    std::string text;

private:
    size_t m_size;
    std::unique_ptr<unsigned char[]> m_bytes;
};

[[noreturn]] void failForMemory() {
    fail(numberTag, "Failed to allocate memory for randBytes buffer.", "Failed to allocate memory for randBytes buffer",
         codeCryptoFailed);
}

void writeText(_BIGNUM_CONVERSION format, Wiped& number) {
    switch (format) {
    case BIGNUM_TO_HEX:
        toHex(number.bytes(), number.size(), number.text);
        break;
    case BIGNUM_TO_DEC:
        toDecimal(number.bytes(), number.size(), number.text);
        break;
    default:
        failDetailed(numberTag, "Unsupported Random number format. Only Hex and Decimal representation supported",
                     "Invalid random number representation", codeCryptoFailed);
    }
}

} // namespace

int RandomNumberGenerator::generateRandomBytes(unsigned char* buffer, int count) {
    constexpr const char* function = "RandomNumberGenerator::generateRandomBytes";
    ossl::clearErrors();
    if ((buffer == nullptr && count != 0) || RAND_bytes(buffer, count) != 1) {
        failWithSslErrors(function, "Failed to generate random bytes with error %s", "Failed to generate random bytes",
                          codeCryptoFailed);
    }
    clogmsgv(logInfo, 5, function, "%d random bytes generated. Returning with success code %d", count, 0);
    return 0;
}

int RandomNumberGenerator::generateRandomNumber(_BIGNUM_CONVERSION format, char** out, int count) {
    if (out == nullptr) {
        fail(numberTag, "Invalid input arguments.", "Invalid input arguments.", codeInvalidArgument);
    }
    ossl::clearErrors();
    Wiped number(count < 0 ? 0 : count);
    if (count < 0 || number.bytes() == nullptr) {
        failForMemory();
    }
    if (RAND_bytes(number.bytes(), count) != 1) {
        failWithSslErrors(numberTag, "Failed to generate random number with error %s",
                          "Failed to generate random number", codeCryptoFailed);
    }
    try {
        writeText(format, number);
    } catch (const std::bad_alloc&) {
        failForMemory();
    }
    *out = strdup(number.text.c_str());
    if (*out == nullptr) {
        failDetailed(numberTag, "strdup Failed.!", "strdup Failed.!", codeCryptoFailed);
    }
    clogmsgv(logInfo, 5, numberTag, "%d bytes random number generated. Returning with success code %d", count, 0);
    return 0;
}

} // namespace CmnCrypto
