/** @file
 * Answers to whether a certificate is to be relied on.
 */
#ifndef CMNCRYPTO_CLI_VERDICT_H
#define CMNCRYPTO_CLI_VERDICT_H

#include <string_view>

#include "Details.h"

namespace CmnCrypto::Cli {

/** The word that comes first, and how the command ends. */
struct Verdict {
    std::string_view word;
    ExitCode exit;

    bool operator==(const Verdict& other) const noexcept { return word == other.word; }
    bool operator!=(const Verdict& other) const noexcept { return word != other.word; }
};

inline constexpr Verdict good = {"good", ExitCode::success};
inline constexpr Verdict verified = {"verified", ExitCode::success};
inline constexpr Verdict revoked = {"revoked", ExitCode::negative};
inline constexpr Verdict rejected = {"rejected", ExitCode::negative};
inline constexpr Verdict stale = {"stale", ExitCode::stale};
inline constexpr Verdict cannotTell = {"cannot tell", ExitCode::undecided};

/** Prints the verdict, in text on a line of its own, and the evidence. @return the verdict's code @throws Failure */
inline ExitCode printVerdict(const Verdict& verdict, const Details& evidence, bool json, const std::string& more = "") {
    if (json) {
        evidence.print(true);
    } else {
        printLine(std::string(verdict.word) + "\n" + evidence.text() + more);
    }
    return verdict.exit;
}

} // namespace CmnCrypto::Cli

#endif
