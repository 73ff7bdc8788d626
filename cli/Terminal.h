/** @file
 * Terminals.
 */
#ifndef CMNCRYPTO_CLI_TERMINAL_H
#define CMNCRYPTO_CLI_TERMINAL_H

#include <cstddef>

namespace CmnCrypto::Cli {

bool isTerminal(int descriptor) noexcept;

/** @return whether standard error is a terminal on which a line can be erased and written again */
bool canRewriteLines() noexcept;

/** @return the columns of the terminal of standard error; 80 when that is not known */
size_t terminalWidth() noexcept;

} // namespace CmnCrypto::Cli

#endif
