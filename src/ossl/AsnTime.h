#ifndef CMNCRYPTO_OSSL_ASNTIME_H
#define CMNCRYPTO_OSSL_ASNTIME_H

#include <ctime>
#include <optional>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/** A difference of times: both parts have its sign. */
struct TimeDifference {
    int days = 0;
    int seconds = 0; ///< less than a day
};

/** @return @p time, null when memory is short */
inline OpenSslPtr<ASN1_TIME> asnTime(std::time_t time) {
    return OpenSslPtr<ASN1_TIME>(ASN1_TIME_set(nullptr, time));
}

/** @return how much later @p to is than @p from; nothing when one of them is unreadable or missing, which OpenSSL alone
 *          would take for the present time */
inline std::optional<TimeDifference> timeBetween(const ASN1_TIME* from, const ASN1_TIME* to) {
    TimeDifference difference;
    if (from == nullptr || to == nullptr || ASN1_TIME_diff(&difference.days, &difference.seconds, from, to) != 1) {
        return std::nullopt;
    }
    return difference;
}

} // namespace CmnCrypto

#endif
