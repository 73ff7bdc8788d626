#include "CertificateDate.h"

#include <array>
#include <cstdio>

#include <openssl/asn1.h>
#include <openssl/err.h>

namespace CmnCrypto::Cli {

namespace {

constexpr int64_t minute = 60;
constexpr int64_t hour = 60 * minute;
constexpr int64_t day = 24 * hour;

/** As timegm(), which not every system has, and those that have it not for all years. */
int64_t secondsOf(const std::tm& parts) {
    // Years that begin in March end with the leap day. 400 of them more keep all numbers positive.
    const int64_t year = parts.tm_year + 1900 + 400 - (parts.tm_mon < 2 ? 1 : 0);
    const int64_t month = (parts.tm_mon + 10) % 12;
    const int64_t daysBefore1970 = 719468 + 146097;
    const int64_t days = year * 365 + year / 4 - year / 100 + year / 400 + (month * 153 + 2) / 5 + parts.tm_mday - 1;
    return (days - daysBefore1970) * day + parts.tm_hour * hour + parts.tm_min * minute + parts.tm_sec;
}

} // namespace

std::string spanText(int64_t seconds) {
    if (seconds >= 2 * day) {
        return std::to_string(seconds / day) + " days";
    }
    if (seconds >= 2 * hour) {
        return std::to_string(seconds / hour) + " hours";
    }
    return seconds >= 2 * minute ? std::to_string(seconds / minute) + " minutes" : "less than 2 minutes";
}

CertificateDate::CertificateDate(const ASN1_TIME* time) : m_now(std::time(nullptr)) {
    // OpenSSL would take a missing time as the present.
    if (time != nullptr && ASN1_TIME_to_tm(time, &m_parts) == 1) {
        m_seconds = secondsOf(m_parts);
    }
    ERR_clear_error();
}

int64_t CertificateDate::daysFromNow() const noexcept {
    const int64_t seconds = secondsFromNow();
    return seconds / day - (seconds % day < 0 ? 1 : 0);
}

std::string CertificateDate::iso() const {
    return isReadable() ? written('T') + "Z" : "";
}

std::string CertificateDate::text() const {
    return isReadable() ? written(' ') + " UTC" : "(unreadable)";
}

std::string CertificateDate::relative() const {
    const int64_t seconds = secondsFromNow();
    if (seconds == 0) {
        return "now";
    }
    return seconds < 0 ? spanText(-seconds) + " ago" : "in " + spanText(seconds);
}

std::string CertificateDate::written(char separator) const {
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%c%02d:%02d:%02d", m_parts.tm_year + 1900,
                  m_parts.tm_mon + 1, m_parts.tm_mday, separator, m_parts.tm_hour, m_parts.tm_min, m_parts.tm_sec);
    return text.data();
}

} // namespace CmnCrypto::Cli
