#include "Duration.h"

#include <array>
#include <charconv>
#include <cstdint>

#include "Failure.h"

namespace CmnCrypto::Cli {

namespace {

struct Unit {
    char letter;
    uint64_t seconds;
};

constexpr std::array<Unit, 5> units = {{{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}}};
constexpr uint64_t longestDays = 36500; ///< OpenSSL has no dates before 1900

} // namespace

unsigned int parseDuration(const std::string& option, const std::string& text) {
    std::string digits = text;
    uint64_t factor = 1;
    for (const Unit& unit : units) {
        if (!text.empty() && text.back() == unit.letter) {
            factor = unit.seconds;
            digits.pop_back();
        }
    }
    uint64_t count = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, count);
    if (error != std::errc() || stop != end || count > longestDays * units[3].seconds / factor) {
        throw Failure(ExitCode::usage, option + ": \"" + text +
                                           "\" is no duration; give seconds, or a number with s, m, h, d or w (36h), "
                                           "at most " +
                                           std::to_string(longestDays) + " days");
    }
    return static_cast<unsigned int>(count * factor);
}

} // namespace CmnCrypto::Cli
