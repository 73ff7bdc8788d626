#ifndef CMNCRYPTO_ENCRYPTION_CRYPTERSTATUS_H
#define CMNCRYPTO_ENCRYPTION_CRYPTERSTATUS_H

namespace CmnCrypto::Encryption {

/** What the operations of the crypter family answer. */
constexpr int statusDone = 0;
constexpr int statusInvalidType = 1200;
constexpr int statusFailed = 1223;
constexpr int statusRefused = 1224;
constexpr int statusNotAuthentic = 1270;

/** The answer of a reset() whose two directions answered @p encryption and @p decryption. */
constexpr int bothReset(int encryption, int decryption) {
    return encryption == statusDone && decryption == statusDone ? statusDone : statusFailed;
}

/** Logs and throws as every crypter's constructor and the factory do. */
[[noreturn]] void throwStatus(const char* function, int status);

} // namespace CmnCrypto::Encryption

#endif
