/** @file
 * What SIGINT, SIGTERM and SIGHUP, or Ctrl-C, Ctrl-Break and the end of the console do: remove the temporary files,
 * tidy the terminal, end with 130.
 */
#ifndef CMNCRYPTO_CLI_INTERRUPT_H
#define CMNCRYPTO_CLI_INTERRUPT_H

#include <array>
#include <cstddef>
#include <string>

namespace CmnCrypto::Cli {

/**
 * Installs the handlers. The work is done in the handler itself, so that a process that waits in a read, derives
 * a key or checks a long stream ends at once as well. A write to a closed pipe or beyond a size limit becomes an
 * ordinary error.
 * @param json whether the handler reports on standard output as well
 */
void installSignalHandlers(bool json);

/** The system's part of it. */
void catchSignals();

class ServerEvents;

/**
 * For a subcommand whose end is a signal: the first one sets stopAsked() and wakes who waits for @p events; a second
 * one ends the process as ever. @param events null: the first one does, too
 */
void stopOnSignal(ServerEvents* events) noexcept;
/** @return whether a signal has come since stopOnSignal() */
bool stopAsked() noexcept;

/**
 * What a signal does, as long as it is not held back. It calls nothing that a signal handler must not.
 * @return when the process is to go on
 */
void handleInterrupt() noexcept;

/** Holds these signals back, also in threads that it starts, while a temporary file and its registration must change
 * together. */
class SignalBlock {
public:
    SignalBlock() noexcept;
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    std::array<unsigned long long, 16> m_before; ///< whatever the system keeps of the state before
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
