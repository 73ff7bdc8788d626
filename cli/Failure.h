/** @file
 * How the command ends, and the exception that ends it early.
 */
#ifndef CMNCRYPTO_CLI_FAILURE_H
#define CMNCRYPTO_CLI_FAILURE_H

#include <cstdint>
#include <exception>
#include <string>

namespace CmnCrypto::Cli {

/** Exit codes: scripts rely on them, docs/command.md lists them. */
enum class ExitCode : int {
    success = 0,
    negative = 1,         ///< asked and answered: no
    usage = 2,            ///< the command line makes no sense
    inputUnreadable = 3,  ///< an input cannot be opened or read
    outputUnwritable = 4, ///< the output cannot be created, written or closed
    outputExists = 5,     ///< the output exists and --force was not given
    keyUnusable = 6,      ///< key, pass phrase or IV of no use
    streamRefused = 7,    ///< not authentic, wrongly padded or cut short
    internal = 8,         ///< the library or OpenSSL failed
    stale = 9,            ///< no decision: the revocation list is too old
    undecided = 10,       ///< no decision: no revocation list that can be relied on
    interrupted = 130     ///< ended by a signal
};

/** Ends the command. The text reads "what failed: why; what to do". */
class Failure : public std::exception {
public:
    /** The library code of a failure that has none. */
    static constexpr int32_t noCode = 0;

    Failure(ExitCode exit, std::string text, int32_t code = noCode);

    /** "what: why" with the reason of a system call, for example "Permission denied". */
    static Failure ofSystem(ExitCode exit, const std::string& what, int errorNumber);

    const char* what() const noexcept override { return m_text.c_str(); }
    ExitCode exit() const noexcept { return m_exit; }
    int32_t code() const noexcept { return m_code; }

private:
    ExitCode m_exit;
    std::string m_text;
    int32_t m_code;
};

/** Turns the exception being handled into a Failure; to be called in a catch block only. */
Failure currentFailure();

} // namespace CmnCrypto::Cli

#endif
