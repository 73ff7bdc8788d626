#ifndef CMNCRYPTO_LIBWINCERTSTORE_FINGERPRINTTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_FINGERPRINTTEXT_H

#include <algorithm>
#include <string>

namespace CmnCrypto::WinCertStore {

/** Digits of a SHA-1 fingerprint. */
constexpr size_t fingerprintLength = 40;

/** @return a fingerprint as people write it without its blanks and ":" */
inline std::string fingerprintDigits(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == ':'; }), text.end());
    return text;
}

} // namespace CmnCrypto::WinCertStore

#endif
