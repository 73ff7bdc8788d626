/** @file
 * What SIGINT, SIGTERM and SIGHUP do: remove the temporary files, tidy the terminal, end with 130.
 */
#ifndef CMNCRYPTO_CLI_INTERRUPT_H
#define CMNCRYPTO_CLI_INTERRUPT_H

#include <signal.h>
#include <string>

namespace CmnCrypto::Cli {

/**
 * Installs the handlers. The work is done in the handler itself, so that a process that waits in a read, derives
 * a key or checks a long stream ends at once as well. A write to a closed pipe or beyond a size limit becomes an
 * ordinary error.
 * @param json whether the handler reports on standard output as well
 */
void installSignalHandlers(bool json);

/**
 * For a subcommand whose end is a signal: the first one sets stopAsked() and writes a byte to @p descriptor, which must
 * not block; a second one ends the process as ever.
 */
void stopOnSignal(int descriptor) noexcept;
/** @return whether a signal has come since stopOnSignal() */
bool stopAsked() noexcept;

/** Holds the three signals back, also in threads that it starts, while a temporary file and its registration must
 * change together. */
class SignalBlock {
public:
    SignalBlock() noexcept;
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t m_before;
};

/** Longest path that can be registered. */
constexpr size_t maximalTemporaryPath = 4095;

/** How many files an interrupt can remove; further ones would stay. */
constexpr size_t maximalTemporaryFiles = 4;

/** Names a file that an interrupt removes. Call it inside a SignalBlock. */
void addTemporaryFile(const std::string& path) noexcept;
/** Takes a name back. Call it inside a SignalBlock. */
void removeTemporaryFile(const std::string& path) noexcept;

/** Says whether a progress bar stands on the terminal's current line. */
void setProgressShown(bool shown) noexcept;
/** @return what setProgressShown() was told last */
bool isProgressShown() noexcept;

/** Erases the terminal line that a progress bar stands on. */
constexpr char eraseLine[] = "\r\033[K";

} // namespace CmnCrypto::Cli

#endif
