#ifndef CMNCRYPTO_LIBWINCERTSTORE_FILETIME_H
#define CMNCRYPTO_LIBWINCERTSTORE_FILETIME_H

#include <cstdint>

namespace CmnCrypto::WinCertStore {

/** The store's times count units of 100 ns since 1601-01-01 UTC. */
constexpr int64_t fileTimeOf1970 = 116444736000000000;
constexpr int64_t fileTimePerSecond = 10000000;

/** @return seconds since 1970-01-01 UTC, truncated towards that moment */
constexpr int64_t secondsOf(uint64_t fileTime) {
    return (static_cast<int64_t>(fileTime) - fileTimeOf1970) / fileTimePerSecond;
}

/** @return the file time of seconds since 1970, that of 1601 for anything before */
constexpr uint64_t fileTimeOf(int64_t seconds) {
    const int64_t fileTime = seconds * fileTimePerSecond + fileTimeOf1970;
    return fileTime < 0 ? 0 : static_cast<uint64_t>(fileTime);
}

} // namespace CmnCrypto::WinCertStore

#endif
