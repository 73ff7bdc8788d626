// The conversions of CmnApi for the text of a certificate time.

#include <cstdio>
#include <cstring>

#include "cmncrypto/CmnApi.h"
#include "frame/Logging.h"

namespace CmnCrypto {

namespace {

constexpr int codeUnknownMonth = 109;
constexpr int codeBadTime = 5964;

constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// "Mmm dd hh:mm:ss yyyy GMT"
constexpr size_t timeTextLength = 24;
constexpr size_t monthLength = 3;
constexpr size_t zoneColumn = 21;

/** Reads a number out of fixed columns: digits, or blanks where there is none. @return false for anything else */
bool readNumber(const char* text, size_t column, size_t width, int& number) {
    number = 0;
    for (size_t i = column; i < column + width; ++i) {
        if (text[i] == ' ') {
            continue;
        }
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        number = 10 * number + (text[i] - '0');
    }
    return true;
}

} // namespace

int CmnApi::resolve_month(const char* name) {
    constexpr const char* function = "resolve_month";
    if (name == nullptr) {
        clogmsg(logFailure, function, "month string NULL");
        return codeUnknownMonth;
    }
    for (int i = 0; i < 12; ++i) {
        if (std::strcmp(name, months[i]) == 0) {
            return i;
        }
    }
    clogmsg(logFailure, function, "Invalid month string passed. month = [%s]", name);
    return codeUnknownMonth;
}

int CmnApi::convertSSLTime(tm* out, const char* text) {
    constexpr const char* function = "convertSSLTime";
    if (out == nullptr || text == nullptr) {
        clogmsg(logFailure, function, "Invalid time_string format");
        return codeBadTime;
    }
    char month[monthLength + 1] = {};
    V_strlcpy(month, text, sizeof month);
    const int monthNumber = resolve_month(month);
    if (monthNumber == codeUnknownMonth) {
        clogmsg(logFailure, function, "resolve_month failed. numMon = %d", monthNumber);
        return codeBadTime;
    }
    out->tm_mon = monthNumber;

    int year = 0;
    const bool read = std::strlen(text) == timeTextLength && readNumber(text, 4, 2, out->tm_mday) &&
                      readNumber(text, 7, 2, out->tm_hour) && readNumber(text, 10, 2, out->tm_min) &&
                      readNumber(text, 13, 2, out->tm_sec) && readNumber(text, 16, 4, year);
    out->tm_year = year - 1900;
    // The day is held to 1 to 31 whatever the month, and leap seconds count up to 61.
    if (!read || out->tm_mday < 1 || out->tm_mday > 31 || out->tm_hour > 23 || out->tm_min > 59 || out->tm_sec > 61 ||
        std::strcmp(text + zoneColumn, "GMT") != 0) {
        clogmsg(logFailure, function, "Invalid time_string format");
        return codeBadTime;
    }
    return 0;
}

std::string CmnApi::convertCertTimeToTMString(const std::string& text) {
    constexpr const char* function = "CmnApi::convertCertTimeToTMString";
    if (text.empty()) {
        clogmsg(logFailure, function, "Invalid parameter: timeStr");
        return {};
    }
    tm time{};
    // A NUL inside would hide what follows it.
    const int result = text.find('\0') == std::string::npos ? convertSSLTime(&time, text.c_str()) : codeBadTime;
    if (result != 0) {
        clogmsg(logFailure, function, "Failed to convert time string to struct tm: error%d", result);
        return {};
    }
    char printed[64]; // not by strftime(), which knows no second 61 on some systems
    std::snprintf(printed, sizeof printed, "%s %02d %02d:%02d:%02d %d GMT", months[time.tm_mon], time.tm_mday,
                  time.tm_hour, time.tm_min, time.tm_sec, time.tm_year + 1900);
    clogmsg(logInfo, function, "convertSSLTimetoTm succeed to start date");
    return printed;
}

} // namespace CmnCrypto
