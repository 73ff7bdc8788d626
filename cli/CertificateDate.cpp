#include "CertificateDate.h"

#include <array>
#include <cstdio>
#include <ctime>

#include <openssl/asn1.h>
#include <openssl/err.h>

namespace CmnCrypto::Cli {

namespace {

constexpr int64_t minute = 60;
constexpr int64_t hour = 60 * minute;
constexpr int64_t day = 24 * hour;

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
    std::tm parts = {};
    // OpenSSL would take a missing time as the present.
    if (time != nullptr && ASN1_TIME_to_tm(time, &parts) == 1) {
        m_seconds = ::timegm(&parts);
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
    std::tm parts = {};
    const std::time_t time = seconds();
    ::gmtime_r(&time, &parts);
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%c%02d:%02d:%02d", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, separator, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text.data();
}

} // namespace CmnCrypto::Cli
