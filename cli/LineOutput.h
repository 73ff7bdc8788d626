/** @file
 * Standard output for a process that must go on when nobody reads it.
 */
#ifndef CMNCRYPTO_CLI_LINEOUTPUT_H
#define CMNCRYPTO_CLI_LINEOUTPUT_H

#include <cstddef>
#include <string>

#include "PatientOutput.h"
#include "Socket.h"

namespace CmnCrypto::Cli {

/**
 * Keeps at most 1 MiB of lines until standard output takes them; further ones are lost and counted. It waits for its
 * reader in flush() only. For one thread.
 */
class LineOutput {
public:
    /** @param line without its line feed @param last goes in although there is no room */
    void add(const std::string& line, bool last = false);
    bool isWaiting() const noexcept { return !m_waiting.empty() || m_output.isBusy(); }
    size_t lost() const noexcept { return m_lost; }

    /** Writes what can be written without waiting. @throws Failure (output cannot be written); nothing waits then */
    void writeSome();
    /** @return whether everything was written in time @throws Failure as writeSome() */
    bool flush(const Deadline& deadline);

private:
    std::string m_waiting;
    PatientOutput m_output;
    size_t m_lost = 0;
};

} // namespace CmnCrypto::Cli

#endif
