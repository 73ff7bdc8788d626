/** @file
 * Progress of long work on a terminal.
 */
#ifndef CMNCRYPTO_CLI_PROGRESSBAR_H
#define CMNCRYPTO_CLI_PROGRESSBAR_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace CmnCrypto::Cli {

/**
 * One line on standard error: bytes done, per cent, rate and time left. It appears when the work has taken half a
 * second, and only on a terminal; the destructor erases it.
 */
class ProgressBar {
public:
    /**
     * @param label what is being done
     * @param total bytes to do, if known
     * @param wanted false keeps it silent
     */
    ProgressBar(std::string label, std::optional<uint64_t> total, bool wanted);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /** Tells how many bytes are done so far; cheap enough for every piece. */
    void update(uint64_t done);

private:
    using Clock = std::chrono::steady_clock;

    void draw(uint64_t done, double seconds);

    std::string m_label;
    std::optional<uint64_t> m_total;
    bool m_enabled;
    Clock::time_point m_start;
    Clock::time_point m_nextDraw;
};

/** @return the number in the largest unit that leaves it at 1 or more: "1.5 GiB" */
std::string humanBytes(double bytes);

} // namespace CmnCrypto::Cli

#endif
