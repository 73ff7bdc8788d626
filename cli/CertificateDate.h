/** @file
 * Dates of certificates as people and scripts want them.
 */
#ifndef CMNCRYPTO_CLI_CERTIFICATEDATE_H
#define CMNCRYPTO_CLI_CERTIFICATEDATE_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include <openssl/types.h>

namespace CmnCrypto::Cli {

/** A span of time in words: "89 days", "30 hours". */
std::string spanText(int64_t seconds);

/** One date, seen from the moment of its construction. In 64 bits: nothing wraps in the years 0 to 9999. */
class CertificateDate {
public:
    explicit CertificateDate(const ASN1_TIME* time);

    /** @return whether the certificate has a date here that can be read; the rest is empty or 0 without */
    bool isReadable() const noexcept { return m_seconds.has_value(); }
    /** @return seconds since 1970-01-01 00:00:00 UTC */
    int64_t seconds() const noexcept { return m_seconds.value_or(0); }
    /** @return seconds from now, negative for the past */
    int64_t secondsFromNow() const noexcept { return isReadable() ? *m_seconds - m_now : 0; }
    /** @return whole days from now, rounded down: negative for all of the past */
    int64_t daysFromNow() const noexcept;

    std::string iso() const;      ///< "2030-01-02T03:04:05Z"
    std::string text() const;     ///< "2030-01-02 03:04:05 UTC", "(unreadable)"
    std::string relative() const; ///< "in 89 days", "3 days ago"

private:
    std::string written(char separator) const;

    std::optional<int64_t> m_seconds;
    std::tm m_parts = {};
    int64_t m_now;
};

} // namespace CmnCrypto::Cli

#endif
