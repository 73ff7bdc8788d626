#include <clocale>
#include <ctime>
#include <locale>

#include "testlib/Testlib.h"

namespace {

const std::string badFormat = "16 - convertSSLTime: Invalid time_string format";

TEST(CertificateTime, Accepted) {
    const std::pair<const char*, const char*> rows[] = {{"Mar  5 01:02:03 2024 GMT", "Mar 05 01:02:03 2024 GMT"},
                                                        {"Feb 30 10:00:00 2024 GMT", nullptr},
                                                        {"Jan 01 00:00:00 1950 GMT", nullptr},
                                                        {"Dec 31 23:59:61 9999 GMT", nullptr}};
    for (const auto& [text, printed] : rows) {
        captureLog();
        EXPECT_EQ(CmnApi::convertCertTimeToTMString(text), printed == nullptr ? text : printed);
        EXPECT_TRUE(logged({"2 - CmnApi::convertCertTimeToTMString: convertSSLTimetoTm succeed to start date"}));
    }
    tm time{};
    time.tm_wday = 42;
    time.tm_yday = 43;
    EXPECT_EQ(CmnApi::convertSSLTime(&time, exactly("Mar  5 01:02:03 2024 GMT").get()), 0);
    const int fields[] = {time.tm_year, time.tm_mon, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec};
    EXPECT_EQ(std::vector<int>(std::begin(fields), std::end(fields)), (std::vector<int>{124, 2, 5, 1, 2, 3}));
    EXPECT_EQ(time.tm_wday + time.tm_yday, 85) << "not filled in";
}

TEST(CertificateTime, RefusedAndNeverReadPastTheEnd) {
    captureLog();
    const std::string whole = "Feb 10 10:00:00 2024 GMT";
    std::vector<std::string> texts = {
        "Feb 10 10:00:00 2024 UTC", "Feb 10 10:00:00 2024 gmt", "Feb 10 10:00:00 2024 GMT ",
        "Feb 10 10:00:00 2024GMT",  "Feb 00 10:00:00 2024 GMT", "Feb 32 10:00:00 2024 GMT",
        "Feb 10 24:00:00 2024 GMT", "Feb 10 10:60:00 2024 GMT", "Feb 10 10:00:62 2024 GMT",
        "Feb -1 10:00:00 2024 GMT", "Feb 1x 10:00:00 2024 GMT", "Feb 10 10:00:00 20x4 GMT",
        "Feb 10 10:00:00 +024 GMT", "Feb    10:00:00 2024 GMT", "Feb 10 1\xff:00:00 2024 GMT"};
    for (size_t length = 3; length < whole.size(); ++length) {
        texts.push_back(whole.substr(0, length));
    }
    tm time{};
    for (const std::string& text : texts) {
        EXPECT_EQ(CmnApi::convertSSLTime(&time, exactly(text).get()), 5964) << text;
        EXPECT_TRUE(logged({badFormat})) << text;
    }
    for (const char* month : {"", "F", "Fe", "feb", "FEB", "Xyz", "%n%"}) {
        const std::string text = month + whole.substr(3);
        EXPECT_EQ(CmnApi::convertSSLTime(&time, exactly(*month == '\0' ? "" : text).get()), 5964) << month;
        EXPECT_TRUE(logged({"16 - resolve_month: Invalid month string passed. month = [*]",
                            "16 - convertSSLTime: resolve_month failed. numMon = 109"}));
    }
}

TEST(CertificateTime, RefusalsOfTheTextForm) {
    constexpr const char* tag = "16 - CmnApi::convertCertTimeToTMString: ";
    captureLog();
    EXPECT_EQ(CmnApi::convertCertTimeToTMString(""), "");
    EXPECT_TRUE(logged({std::string(tag) + "Invalid parameter: timeStr"}));
    EXPECT_EQ(CmnApi::convertCertTimeToTMString("Feb 10 10:00:00 2024 UTC"), "");
    EXPECT_TRUE(logged({badFormat, std::string(tag) + "Failed to convert time string to struct tm: error5964"}));
    EXPECT_EQ(CmnApi::convertCertTimeToTMString(std::string("Feb 10 10:00:00 2024 GMT\0x", 26)), "");
}

TEST(CertificateTime, EnglishWhateverTheLocale) {
    struct Shouting : std::time_put<char> {
        iter_type do_put(iter_type out, std::ios_base&, char, const tm*, char, char) const override {
            *out++ = '?';
            return out;
        }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Shouting));
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // takes effect where the host has it
    EXPECT_EQ(CmnApi::convertCertTimeToTMString("May  5 01:02:03 2024 GMT"), "May 05 01:02:03 2024 GMT");
    std::setlocale(LC_ALL, "C");
    std::locale::global(before);
}

TEST(Month, ExactNamesOnly) {
    const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(CmnApi::resolve_month(names[i]), i);
    }
    captureLog();
    EXPECT_EQ(CmnApi::resolve_month(nullptr), 109);
    EXPECT_TRUE(logged({"16 - resolve_month: month string NULL"}));
    for (const std::string name : {"", "jan", "January", "Ja", "Jan "}) {
        EXPECT_EQ(CmnApi::resolve_month(name.c_str()), 109);
        EXPECT_TRUE(logged({"16 - resolve_month: Invalid month string passed. month = [" + name + "]"}));
    }
}

} // namespace
