#ifndef CMNCRYPTO_TLS_DEADLINE_H
#define CMNCRYPTO_TLS_DEADLINE_H

#include <algorithm>
#include <chrono>
#include <climits>

namespace CmnCrypto::tls {

/** When a call has to be over; asks for the time only where there is a limit. */
class Deadline {
public:
    /** @param milliseconds from now; 0 or less for no limit */
    explicit Deadline(int milliseconds) {
        if (milliseconds > 0) {
            m_limit = milliseconds;
            m_end = Clock::now() + std::chrono::milliseconds(milliseconds);
        }
    }

    bool isSet() const noexcept { return m_limit > 0; }
    int limit() const noexcept { return m_limit; } ///< in milliseconds, 0 for none
    bool isOver() const { return isSet() && Clock::now() >= m_end; }

    /** @return the milliseconds that are left, rounded up; 0 when it is over; -1 without a limit */
    int remaining() const {
        if (!isSet()) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

private:
    using Clock = std::chrono::steady_clock;

    int m_limit = 0;
    Clock::time_point m_end;
};

} // namespace CmnCrypto::tls

#endif
