// Revocation lists on a clock that stands still.

#include <climits>

#include "faults/Faults.h"
#include "faults/Operations.h"

namespace {

constexpr std::time_t day = 86400;
constexpr std::time_t differences[] = {-400 * day, -day - 1, -day,    1 - day, -1,          0,         1,
                                       day - 1,    day,      day + 1, 2 * day, 3 * day - 1, 400 * day, 400 * day + 1};
/** Before 1970, in between and after 2049. */
constexpr std::time_t dates[] = {-300000000, 0, 1000000000, 2600000000};
constexpr std::time_t year1900 = -2208988800;
/** Before this OpenSSL does not reckon. */
const std::time_t earliest = Owned<ASN1_TIME>(ASN1_TIME_set(nullptr, -1)) ? year1900 : 0;

/** A list that revokes the certificates of makeCertificate(), with both dates of one of the two types. */
Crl listAt(std::time_t time, bool isGeneralized) {
    return Crl(makeList("P-256", [&](X509_CRL* list) {
                   const auto set = isGeneralized ? ASN1_GENERALIZEDTIME_set : ASN1_TIME_set;
                   X509_CRL_set1_lastUpdate(list, Owned<ASN1_STRING>(set(nullptr, time)).get());
                   X509_CRL_set1_nextUpdate(list, Owned<ASN1_STRING>(set(nullptr, time)).get());
                   revoke(list, "1");
               }).get());
}

TEST(RevocationClock, ExpiryAndOrder) {
    for (const std::time_t date : dates) {
        for (const std::time_t difference : differences) {
            if (std::min(date, date + difference) < earliest) {
                continue;
            }
            SCOPED_TRACE(std::to_string(date) + " and " + std::to_string(difference));
            const Crl crl = listAt(date, difference % 2 == 0);
            faults::stopClock(date + difference);
            EXPECT_EQ(crl.isExpired(), difference >= 0);
            EXPECT_EQ(CrlUtil::isCrlExpired(crl.getX509Crl()), difference >= 0);
            EXPECT_EQ(listAt(date + difference, true).isNewerThan(crl), difference > 0);
        }
    }
    faults::clear();
}

TEST(RevocationClock, Age) {
    for (const unsigned int age : {0U, 1U, 86399U, 86400U, 86401U, 0U + INT_MAX, 1U << 31U, UINT_MAX - 1U, UINT_MAX}) {
        for (const std::time_t date : {year1900, dates[0], dates[1], dates[2], dates[3]}) {
            const Crl crl = listAt(std::max(date, earliest), age % 2 == 0);
            for (const std::time_t beyond : differences) {
                if (date < earliest || (earliest == 0 && date + beyond < 0)) {
                    continue;
                }
                SCOPED_TRACE(std::to_string(date) + ", " + std::to_string(age) + " and " + std::to_string(beyond));
                faults::stopClock(date + age + beyond);
                std::string outcome;
                outcome += thrown([&] { outcome = faults::decision(crl, age); });
                EXPECT_EQ(outcome, age > 0 && date + beyond < earliest ? "1 Failed to perform ASN1_TIME adjustment"
                                   : beyond > 0 && beyond % day != 0   ? "4 - 7 7" // whole days do not count
                                                                       : "3 0x01 1000000000 -1");
            }
        }
    }
    faults::clear();
}

} // namespace
