/** @file
 * Spans of time on the command line.
 */
#ifndef CMNCRYPTO_CLI_DURATION_H
#define CMNCRYPTO_CLI_DURATION_H

#include <string>

namespace CmnCrypto::Cli {

/**
 * @param text a number of seconds, or of the unit that follows: s, m, h, d, w
 * @return seconds @throws Failure (usage) naming the option
 */
unsigned int parseDuration(const std::string& option, const std::string& text);

} // namespace CmnCrypto::Cli

#endif
