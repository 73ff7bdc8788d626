/** @file
 * The library's messages on standard error.
 */
#ifndef CMNCRYPTO_CLI_LOGPRINTER_H
#define CMNCRYPTO_CLI_LOGPRINTER_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/** @return the names of the levels, from silence to everything */
std::vector<std::string> logLevelNames();

/** Prints messages of that level and the more serious ones from now on; "none" installs nothing. */
void startLog(const std::string& levelName);

/** Remembers failure messages from now on, whatever is printed. */
void captureFailures();

/** @return the first failure message since captureFailures(), often the most precise one; empty if there was none */
const std::string& firstFailure();

/** @return the latest failure message since captureFailures(), empty if there was none */
const std::string& latestFailure();

} // namespace CmnCrypto::Cli

#endif
